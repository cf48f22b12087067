#include <cerrno>
#include <cstddef>
#include <exception>
#include <optional>
#include <span>
#include <string>

#include "check.h"
#include "digest.h"
#include "interrupt.h"
#include "journal.h"
#include "options.h"
#include "report.h"
#include "sum.h"

namespace TreeSum {

namespace {

enum ExitStatus { exitSuccess = 0, exitFailure = 1, exitUsage = 2 };

void work(const Options& options, Report& report) {
    if (!limitMemory(options.crewSize(), options.workerBytes())) {
        report.failure("memory budget", ENOMEM);
        return;
    }
    const bool complete =
        options.manifest ? checkManifest(options, report) : sumPaths(options, report);
    if (!complete) report.complaint("interrupted; the rest was left out");
}

void answer(const Options& options, Report& report) {
    if (options.help) {
        report.result(helpText());
    } else if (options.version) {
        report.result("treesum " TREESUM_VERSION);
    } else {
        work(options, report);
    }
}

int run(std::span<char* const> arguments) {
    watchInterrupts();
    Report report;
    std::string complaint;
    const std::optional<Options> options = parseOptions(arguments, complaint);
    if (!options) {
        report.complaint(complaint + "; try 'treesum --help'");
        return exitUsage;
    }
    setUpJournal(*options);
    answer(*options, report);
    const bool allWell = report.finish();
    if (interrupted() != 0) endByInterrupt();
    return allWell ? exitSuccess : exitFailure;
}

}  // namespace

}  // namespace TreeSum

int main(int argc, char** argv) try {
    const std::span<char* const> arguments(argv, static_cast<std::size_t>(argc));
    return TreeSum::run(arguments.empty() ? arguments : arguments.subspan(1));
} catch (const std::exception& problem) {
    TreeSum::Report().complaint(problem.what());
    return TreeSum::exitFailure;
}
