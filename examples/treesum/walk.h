#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vesko/vesko3/function.h"

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
    using FailureProc = Tovra::Vesko::TFunction2<void, const std::string&, int>;

    /// Starts at a directory, which may be a symbolic link to one.
    /// @param failed told of each entry that cannot be read, with an `errno` value
    TreeWalk(std::string root, FailureProc failed);

    /// Moves on to the next file.
    /// @return false at the end
    bool next();

    /// The file that `next` found.
    const std::string& path() const { return m_path; }

    /// Its size, modulo 4 GiB: enough to tell small files from large ones.
    unsigned int sizeBytes() const { return m_sizeBytes; }

private:
    struct Entry {
        std::string name;
        std::size_t parentLength;  // bytes of `m_path` that lead to its directory, with the '/'
        bool isDirectory;
        unsigned int sizeBytes;
    };

    void enterDirectory();
    bool isRegularFile(const Entry& entry);

    const FailureProc m_failed;
    std::string m_path;
    unsigned int m_sizeBytes = 0;
    std::vector<Entry> m_waiting;  // the next one is the last
};

}  // namespace TreeSum
