#include "inputfile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "vesko/vesko3/filesystem.h"

namespace TreeSum {

namespace {

Tovra::Vesko::IFileSystem& files() {
    static Tovra::Vesko::IFileSystem& s_files = *Tovra::Vesko::FileDefaultOpt::instance();
    return s_files;
}

// What `fgets` read into memory that was full of line feeds: the text's own one is followed by the
// terminating zero, any other stands behind it. So a zero byte in the text cannot hide its end.
std::string_view textRead(std::span<const char> memory) {
    const auto feed = std::ranges::find(memory, '\n');
    const auto behind = static_cast<std::size_t>(feed - memory.begin()) + 1;
    if (feed == memory.end()) return {memory.data(), memory.size() - 1};
    if (behind < memory.size() && memory[behind] == '\0') return {memory.data(), behind};
    return {memory.data(), behind - 2};
}

}  // namespace

InputFile::InputFile(const std::string& path)
    : m_file(path == "-" ? stdin : files().fopen(path.c_str(), "rb")) {
    if (m_file == nullptr) m_error = errno;
}

InputFile::~InputFile() {
    if (m_file != nullptr && m_file != stdin) files().fclose(m_file);
}

std::size_t InputFile::read(void* buffer, std::size_t size) {
    if (m_error != 0) return 0;
    const std::size_t got = files().fread(buffer, 1, size, m_file);
    if (got < size) noteError();
    return got;
}

bool InputFile::readLine(std::string& line) {
    line.clear();
    if (m_error != 0) return false;
    char piece[4096];
    std::memset(piece, '\n', sizeof piece);
    while (files().fgets(piece, sizeof piece, m_file) != nullptr) {
        const std::string_view text = textRead(piece);
        line += text;
        if (text.ends_with('\n')) {
            line.pop_back();
            return true;
        }
        if (text.size() < sizeof piece - 1) return true;  // the last line has no line feed
        std::memset(piece, '\n', sizeof piece);
    }
    noteError();
    return !line.empty() && m_error == 0;
}

void InputFile::noteError() {
    const int reason = errno;  // before anything else runs
    // The handles of the default table are streams.
    if (std::ferror(static_cast<std::FILE*>(m_file)) != 0) m_error = reason;
}

}  // namespace TreeSum
