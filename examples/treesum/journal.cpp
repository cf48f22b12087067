#include "journal.h"

#include <cstdio>

#include "vesko/vesko3/log.h"

namespace TreeSum {

namespace {

using namespace Tovra;

void writeToStandardError(const char* record) { std::fputs(record, stderr); }

void command(const char* word, std::string value) {
    std::string name = word;
    char* const arguments[] = {name.data(), value.data()};
    Vesko::setLogFilter(2, arguments);
}

}  // namespace

void setUpJournal(const Options& options) {
    Vesko::PrintOptions header{};
    header.noColor = 1;  // standard output is not where the records go
    Vesko::setPrintOptions(header);
    Vesko::setLogPrinter(Vesko::TFunction1<void, const char*>(&writeToStandardError));

    const bool hasFile = options.logFile.has_value();
    command("-loglevel", options.logLevel.value_or(hasFile ? "4" : "0"));
    if (!hasFile) return;
    command("-logsize", options.logSizeKib.value_or("1024"));
    command("-logpath", *options.logFile);
}

void note(Detail detail, const std::string& text, const char* file, const char* function,
          int line) {
    Vesko::logFilter(static_cast<int>(detail), "treesum", file, function, line, TREESUM_VERSION,
                     "%s\n", text.c_str());
}

}  // namespace TreeSum
