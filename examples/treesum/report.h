#pragma once

#include <string_view>

namespace TreeSum {

/// What the program has to say: results on standard output, everything else on standard error.
///
/// Remembers whether anything failed, which decides the exit status.
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

    /// @return true when more results have nowhere to go
    bool outputIsBroken() const { return m_outputIsBroken; }

    /// Writes out what is buffered and closes standard output: the last chance to see it fail.
    /// @return true when nothing failed, now or earlier
    bool finish();

private:
    void outputFailed(int error);

    bool m_failed = false;
    bool m_outputIsBroken = false;
};

}  // namespace TreeSum
