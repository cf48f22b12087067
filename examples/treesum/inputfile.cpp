#include "inputfile.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "vesko/vesko3/filesystem.h"

namespace TreeSum {

namespace {

Tovra::Vesko::IFileSystem& files() {
    static Tovra::Vesko::IFileSystem& s_files = *Tovra::Vesko::FileDefaultOpt::instance();
    return s_files;
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
    while (files().fgets(piece, sizeof piece, m_file) != nullptr) {
        const std::string_view text(piece);
        line += text;
        if (text.ends_with('\n')) {
            line.pop_back();
            return true;
        }
        // A piece that is neither full nor ended: the last line, or one with a zero byte in it.
        if (text.size() < sizeof piece - 1) return true;
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
