#pragma once

#include <string_view>

#include "vesko/vesko3/locks.h"

namespace TreeSum {

/// What the program has to say: results on standard output, everything else on standard error.
///
/// Remembers whether anything failed, which decides the exit status. The line of progress, on a
/// terminal, stands below all that.
/// Threads: `showProgress` may come from any thread, the rest belongs to one.
class Report {
public:
    /// Prints a line of results. Does nothing once standard output has failed.
    void result(std::string_view line);

    /// Prints `treesum: NAME: REASON` and remembers the failure.
    /// @param error an `errno` value
    void failure(std::string_view name, int error);
    void failure(std::string_view name, std::string_view reason);

    /// Prints `treesum: TEXT` and remembers the failure.
    void complaint(std::string_view text);

    /// Prints that a worker does not move on, which is no failure yet.
    void stall(std::string_view worker, std::string_view path);

    /// Shows a line in the place of the last one.
    void showProgress(std::string_view line);
    void clearProgress();

    /// @return true when more results have nowhere to go
    bool outputIsBroken() const { return m_outputIsBroken; }

    /// Writes out what is buffered and closes standard output: the last chance to see it fail.
    /// @return true when nothing failed, now or earlier
    bool finish();

private:
    void outputFailed(int error);
    void print(std::string_view text);
    void clearLine() VESKO_REQUIRES(m_mutex);

    Tovra::Vesko::CMutex m_mutex;  // of the terminal
    bool m_showsProgress VESKO_GUARDED_BY(m_mutex) = false;
    bool m_failed = false;
    bool m_outputIsBroken = false;
};

}  // namespace TreeSum
