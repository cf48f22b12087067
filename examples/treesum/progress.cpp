#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "vesko/vesko3/filesystem.h"
#include "vesko/vesko3/time.h"
#include "walk.h"

namespace TreeSum {

namespace {

using Tovra::Vesko::CThreadLite;
using Tovra::Vesko::CTime;
using Tovra::Vesko::CTimer;

constexpr unsigned int s_periodMilliSeconds = 200;
constexpr double s_mebibyte = 1024.0 * 1024.0;

void ignoreFailure(const std::string&, int) {}

std::string timeText(std::uint64_t seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%llu:%02llu", static_cast<unsigned long long>(seconds / 60),
                  static_cast<unsigned long long>(seconds % 60));
    return text;
}

}  // namespace

Progress::Progress(const Options& options, Report& report) : m_options(options), m_report(report) {
    if (options.quiet || ::isatty(STDERR_FILENO) != 1) return;
    m_startMilliSeconds = CTime::getCurrentMilliSecond();
    m_timer = std::make_unique<CTimer>("progress");
    m_timer->start({&Progress::show, this}, s_periodMilliSeconds, s_periodMilliSeconds, 0, 0);
    if (options.manifest) return;
    Tovra::Vesko::TFunction1<void, CThreadLite&> count(&Progress::countAhead, this);
    m_scout = std::make_unique<CThreadLite>(count, "scout", 100, 0, 0);
    m_scout->createThread();
}

Progress::~Progress() { stop(); }

void Progress::stop() {
    if (m_timer == nullptr) return;
    m_timer->stopAndWait();
    m_timer.reset();
    m_scout.reset();
    m_report.clearProgress();
}

void Progress::show(unsigned long) {
    const double elapsedSeconds =
        static_cast<double>(CTime::getCurrentMilliSecond() - m_startMilliSeconds) / 1000.0;
    const std::uint64_t bytes = m_bytes.load(std::memory_order_relaxed);
    const std::uint64_t total = m_totalBytes.load(std::memory_order_relaxed);
    const double rate = elapsedSeconds > 0 ? static_cast<double>(bytes) / elapsedSeconds : 0;
    char text[120];
    std::snprintf(text, sizeof text, "%llu files, %.1f MiB, %.1f MiB/s",
                  static_cast<unsigned long long>(m_files.load(std::memory_order_relaxed)),
                  static_cast<double>(bytes) / s_mebibyte, rate / s_mebibyte);
    std::string line = text;
    if (total > bytes && rate > 0) {
        const double left = static_cast<double>(total - bytes) / rate;
        line.append(", ").append(timeText(static_cast<std::uint64_t>(left))).append(" left");
    }
    m_report.showProgress(line);
}

void Progress::countAhead(CThreadLite& self) {
    auto& files = *Tovra::Vesko::FileDefaultOpt::instance();
    std::uint64_t total = 0;
    for (const std::string& root : m_options.roots()) {
        TreeWalk walk(root, &ignoreFailure);
        while (walk.next()) {
            if (!self.looping()) return;
            Tovra::Vesko::FileInfo info{};
            if (files.stat(walk.path().c_str(), info) == 0) total += info.size;
        }
    }
    m_totalBytes = total;
}

}  // namespace TreeSum
