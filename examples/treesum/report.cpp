#include "report.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "manifest.h"

namespace TreeSum {

using Tovra::Vesko::CGuard;

namespace {

// A name from a stranger's disk must neither break a line nor steer the terminal.
std::string shownName(std::string_view name) {
    if (name.empty()) return "''";
    const bool breaksLine = name.find_first_of("\r\n") != std::string_view::npos;
    std::string text;
    for (const char c : breaksLine ? escapedName(name) : std::string(name)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            text += c;
            continue;
        }
        char octal[8];
        std::snprintf(octal, sizeof octal, "\\%03o", byte);
        text += octal;
    }
    return text;
}

}  // namespace

void Report::result(std::string_view line) {
    if (m_outputIsBroken) return;
    CGuard guard(m_mutex);
    clearLine();
    // Buffered by the runtime library: by lines on a terminal, by blocks elsewhere.
    const bool written = std::fwrite(line.data(), 1, line.size(), stdout) == line.size();
    if (!written || std::fputc('\n', stdout) == EOF) outputFailed(errno);
}

void Report::failure(std::string_view name, int error) {
    failure(name, std::generic_category().message(error));
}

void Report::failure(std::string_view name, std::string_view reason) {
    complaint(shownName(name).append(": ").append(reason));
}

void Report::complaint(std::string_view text) {
    m_failed = true;
    print(text);
}

void Report::stall(std::string_view worker, std::string_view path) {
    std::string text(worker);
    print(text.append(" does not move on: ").append(shownName(path)));
}

void Report::print(std::string_view text) {
    {
        CGuard guard(m_mutex);
        clearLine();
    }
    // First what came first: both streams may lead to one place.
    if (!m_outputIsBroken && std::fflush(stdout) != 0) outputFailed(errno);
    const std::string line = std::string("treesum: ").append(text).append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void Report::showProgress(std::string_view line) {
    const std::string text = std::string("\r").append(line).append("\x1b[K");
    CGuard guard(m_mutex);
    m_showsProgress = true;
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void Report::clearProgress() {
    CGuard guard(m_mutex);
    clearLine();
}

void Report::clearLine() {
    if (!m_showsProgress) return;
    m_showsProgress = false;
    std::fputs("\r\x1b[K", stderr);
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
