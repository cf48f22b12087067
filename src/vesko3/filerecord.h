#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "vesko/vesko3/filesystem.h"

/// What the two file classes share: their record, and the work on it. `Size` is the type of their
/// positions and lengths.
namespace Tovra::Vesko::Detail {

enum class DirectMode { refused, allowed };

/// @return the table's mode for the flags of `open`; what they say of the access is empty for a value
///         that means nothing
std::string modeOf(unsigned int flags, DirectMode direct);

/// @return true when the file is not emptied as it is opened
bool keepsContent(unsigned int flags);

inline long tell(IFileSystem& table, void* file, const std::uint32_t*) { return table.ftell(file); }
inline std::int64_t tell(IFileSystem& table, void* file, const std::int64_t*) {
    return table.ftell64(file);
}
inline int seekTo(IFileSystem& table, void* file, std::uint32_t, long offset, int whence) {
    return table.fseek(file, offset, whence);
}
inline int seekTo(IFileSystem& table, void* file, std::int64_t, std::int64_t offset, int whence) {
    return table.fseek64(file, offset, whence);
}

/// Gives a stream a buffer, and says so when that fails.
/// @param file null when no file is open
bool setvbuf(void* file, char* buffer, int mode, std::size_t size);

/// Has the system show an open file.
/// @param file a stream of the runtime library
void showOpenFile(void* file);

/// @return bytes written
long writev(IFileSystem& table, void* file, const io_vec* vector, int count);

template <class Size>
struct FileRecord {
    FileRecord() = default;
    ~FileRecord() {
        close();
        delete[] m_buffer;
    }
    FileRecord(const FileRecord&) = delete;
    FileRecord& operator=(const FileRecord&) = delete;

    bool isOpen() const { return m_file != nullptr; }

    /// @return false when the table cannot open the file
    bool open(const char* path, const std::string& mode, unsigned int flags) {
        m_file = m_opt->fopen(path, mode.c_str());
        if (m_file == nullptr) return false;
        m_position = toldPosition();
        m_length = 0;
        FileInfo info{};
        // A file that was emptied has no length to ask for.
        if (keepsContent(flags) && m_opt->stat(path, info) == 0) {
            m_length = static_cast<Size>(info.size);
        }
        return true;
    }

    void close() {
        if (!isOpen()) return;
        m_opt->fclose(m_file);
        m_file = nullptr;
        m_length = 0;
        m_position = 0;
        freeBuffer();
        m_opt = FileDefaultOpt::instance();
    }

    void freeBuffer() {
        delete[] m_buffer;
        m_buffer = nullptr;
    }

    std::size_t readSome(void* buffer, std::size_t size) {
        return m_opt->fread(buffer, 1, size, m_file);
    }

    std::size_t writeSome(const void* buffer, std::size_t size) {
        return m_opt->fwrite(buffer, 1, size, m_file);
    }

    /// Takes the stream's position as this object's, after something was written. The length follows
    /// the end of the file only by growing.
    void refresh() {
        m_position = toldPosition();
        growTo(m_position);
    }

    /// @return the new position, 0 on failure
    template <class Offset>
    Size seek(Offset offset, int whence) {
        if (whence != SEEK_END) {
            const std::int64_t origin = whence == SEEK_CUR ? m_position : 0;
            if (offset > std::int64_t{std::numeric_limits<Size>::max()} - origin) return 0;
            if (origin + offset == std::int64_t{m_position}) return m_position;
        }
        if (seekTo(*m_opt, m_file, Size{}, offset, whence) < 0) return 0;
        m_position = toldPosition();
        return m_position;
    }

    /// Writes a text.
    /// @return the table's result
    int puts(const char* text) {
        const int result = m_opt->fputs(text, m_file);
        if (result != -1) advanceBy(std::strlen(text));
        return result;
    }

    /// @return bytes written, or what else the table gives
    long writev(const io_vec* vector, int count) {
        const long done = Detail::writev(*m_opt, m_file, vector, count);
        if (done > 0) advanceBy(static_cast<std::size_t>(done));
        return done;
    }

    /// Reads a line.
    char* gets(char* text, int size) {
        char* line = m_opt->fgets(text, size, m_file);
        if (line != nullptr) moveBy(std::strlen(line));
        return line;
    }

    /// Has the system show the open file, when it could not be read whole. Another table's handles
    /// need not be streams of the runtime library.
    void showOpenFile() {
        if (m_opt == FileDefaultOpt::instance()) Detail::showOpenFile(m_file);
    }

    void moveBy(std::size_t count) {
        m_position = static_cast<Size>(m_position + static_cast<Size>(count));
    }

    void* m_file = nullptr;             // of the table
    unsigned char* m_buffer = nullptr;  // what was loaded
    Size m_length = 0;                  // 0 while it is not known
    Size m_position = 0;
    IFileSystem* m_opt = FileDefaultOpt::instance();  // the default one whenever no file is open

private:
    void growTo(Size length) {
        if (m_length < length) m_length = length;
    }

    void advanceBy(std::size_t count) {
        moveBy(count);
        growTo(m_position);
    }

    Size toldPosition() {
        const auto position = tell(*m_opt, m_file, static_cast<const Size*>(nullptr));
        return position < 0 ? 0 : static_cast<Size>(position);
    }
};

/// The operations on paths.
bool renamePath(const char* oldName, const char* newName);
bool removePath(const char* path);
bool makeDirectory(const char* path);
bool removeDirectory(const char* path);
bool statFS(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
            std::uint64_t& totalFree);
bool access(const char* path, int mode);
bool stat(const char* path, FileInfo& info);

/// @return the text of an error number
std::string errorText(int error);

}  // namespace Tovra::Vesko::Detail
