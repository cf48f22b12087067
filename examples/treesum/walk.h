#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "report.h"

namespace TreeSum {

/// The regular files of a directory tree, one after another.
///
/// Entries come sorted by the bytes of their names, the content of a directory at the directory's
/// own place. Hidden files are included. Symbolic links, pipes, sockets and devices are passed over
/// without being opened. What cannot be read is reported, and the walk goes on behind it. The depth
/// of the tree is limited by the system's longest path alone.
/// Threads: an object belongs to one thread.
class TreeWalk {
public:
    /// Starts at a directory, which may be a symbolic link to one.
    /// @param report outlives the walk
    TreeWalk(std::string root, Report& report);

    /// Moves on to the next file.
    /// @return false at the end
    bool next();

    /// The file that `next` found.
    const std::string& path() const { return m_path; }

private:
    struct Entry {
        std::string name;
        std::size_t parentLength;  // bytes of `m_path` that lead to its directory, with the '/'
        bool isDirectory;
        bool isSurelyRegular;
    };

    void enterDirectory();
    bool isRegularFile(const Entry& entry);

    Report& m_report;
    std::string m_path;
    std::vector<Entry> m_waiting;  // the next one is the last
};

}  // namespace TreeSum
