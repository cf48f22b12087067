#include "walk.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "vesko/vesko3/filefind.h"

namespace TreeSum {

namespace {

// No symbolic link is as long as this, and no pipe, socket or device has a length at all: an entry
// that reaches it needs no question to the system.
constexpr unsigned int s_onlyFilesAreLongerBytes = 4096;

}  // namespace

TreeWalk::TreeWalk(std::string root, FailureProc failed)
    : m_failed(failed), m_path(std::move(root)) {
    enterDirectory();
}

bool TreeWalk::next() {
    while (!m_waiting.empty()) {
        const Entry entry = std::move(m_waiting.back());
        m_waiting.pop_back();
        m_path.resize(entry.parentLength);
        m_path += entry.name;
        m_sizeBytes = entry.sizeBytes;
        if (entry.isDirectory) {
            enterDirectory();
        } else if (isRegularFile(entry)) {
            return true;
        }
    }
    return false;
}

// Reads the directory to its end before it goes down: open searches do not pile up with the depth.
void TreeWalk::enterDirectory() {
    const std::size_t firstNew = m_waiting.size();
    const std::string directory = m_path;
    if (!m_path.ends_with('/')) m_path += '/';

    errno = 0;
    Tovra::Vesko::CFileFind search;
    if (!search.findFile((m_path + '*').c_str())) {
        if (errno != 0) m_failed(directory, errno);
        return;
    }
    do {
        std::string name = search.getFileName();
        if (name != "." && name != "..") {
            m_waiting.push_back(
                {std::move(name), m_path.size(), search.isDirectory(), search.getLength()});
        }
        errno = 0;
    } while (search.findNextFile());
    // An entry that went away while the directory was read leaves ENOENT behind, and is no failure.
    if (errno != 0 && errno != ENOENT) m_failed(directory, errno);

    std::sort(m_waiting.begin() + static_cast<std::ptrdiff_t>(firstNew), m_waiting.end(),
              [](const Entry& a, const Entry& b) { return a.name > b.name; });
}

bool TreeWalk::isRegularFile(const Entry& entry) {
    if (entry.sizeBytes >= s_onlyFilesAreLongerBytes) return true;
    std::error_code error;
    const auto type = std::filesystem::symlink_status(m_path, error).type();
    if (type == std::filesystem::file_type::none || type == std::filesystem::file_type::not_found) {
        m_failed(m_path, error.value());
        return false;
    }
    return type == std::filesystem::file_type::regular;
}

}  // namespace TreeSum
