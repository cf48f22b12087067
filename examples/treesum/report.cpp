#include "report.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "manifest.h"

namespace TreeSum {

void Report::result(std::string_view line) {
    if (m_outputIsBroken) return;
    // Buffered by the runtime library: by lines on a terminal, by blocks elsewhere.
    const bool written = std::fwrite(line.data(), 1, line.size(), stdout) == line.size();
    if (!written || std::fputc('\n', stdout) == EOF) outputFailed(errno);
}

void Report::failure(std::string_view name, int error) {
    failure(name, std::generic_category().message(error));
}

void Report::failure(std::string_view name, std::string_view reason) {
    // A line break in a name must not make two lines of one failure.
    const bool breaksLine = name.find_first_of("\r\n") != std::string_view::npos;
    std::string text = breaksLine ? escapedName(name) : std::string(name);
    complaint(text.append(": ").append(reason));
}

void Report::complaint(std::string_view text) {
    m_failed = true;
    const std::string line = std::string("treesum: ").append(text).append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
}

bool Report::finish() {
    if (!m_outputIsBroken && std::fclose(stdout) != 0) outputFailed(errno);
    return !m_failed;
}

void Report::outputFailed(int error) {
    m_outputIsBroken = true;
    failure("standard output", error);
}

}  // namespace TreeSum
