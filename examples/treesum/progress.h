#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "options.h"
#include "report.h"
#include "vesko/vesko3/threadlite.h"
#include "vesko/vesko3/timer.h"

namespace TreeSum {

/// The line that shows how far the work is, on a terminal at standard error; nothing elsewhere.
///
/// A thread of its own goes ahead and counts what there is to do: the time that is left shows when it
/// is done.
/// Threads: workers count, one thread stops it.
class Progress {
public:
    /// @param options outlives the object, as `report` does
    Progress(const Options& options, Report& report);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void countFile() { m_files.fetch_add(1, std::memory_order_relaxed); }
    void countBytes(std::uint64_t bytes) { m_bytes.fetch_add(bytes, std::memory_order_relaxed); }

    /// Takes the line away, for good.
    void stop();

private:
    void show(unsigned long);
    void countAhead(Tovra::Vesko::CThreadLite& self);

    const Options& m_options;
    Report& m_report;
    std::atomic<std::uint64_t> m_files{0};
    std::atomic<std::uint64_t> m_bytes{0};
    std::atomic<std::uint64_t> m_totalBytes{0};  // 0 until it is known
    std::uint64_t m_startMilliSeconds = 0;

    std::unique_ptr<Tovra::Vesko::CTimer> m_timer;  // null when nothing is shown
    std::unique_ptr<Tovra::Vesko::CThreadLite> m_scout;
};

}  // namespace TreeSum
