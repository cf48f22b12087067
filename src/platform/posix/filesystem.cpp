#include "platform/filesystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Tovra::Platform {

namespace {

template <class Call>
auto retryIfInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

int platformFlags(unsigned int flags) {
    struct Row {
        unsigned int flag;
        int platform;
    };
    constexpr Row rows[] = {{openWriteOnly, O_WRONLY}, {openReadWrite, O_RDWR},
                            {openAppend, O_APPEND},    {openCreate, O_CREAT},
                            {openTruncate, O_TRUNC},   {openNoInherit, O_CLOEXEC}};
    int result = O_RDONLY;
    for (const Row& row : rows) {
        if ((flags & row.flag) != 0) result |= row.platform;
    }
    return result;
}

/// The buffers that streams were given.
class StreamBuffers {
public:
    // Never destroyed: streams that are still open are flushed after all static objects are gone.
    static StreamBuffers& instance() {
        static StreamBuffers& s_buffers = *new StreamBuffers;
        return s_buffers;
    }

    // Null when memory is short.
    char* make(std::FILE* stream, std::size_t sizeBytes) try {
        // Its content is written before it is read.
        std::unique_ptr<char[]> buffer(new char[sizeBytes]);
        char* memory = buffer.get();
        const std::lock_guard guard(m_mutex);
        m_buffers[stream] = std::move(buffer);
        return memory;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }

    // Takes a buffer out, so that it can be freed once its stream is closed.
    std::unique_ptr<char[]> take(std::FILE* stream) {
        const std::lock_guard guard(m_mutex);
        auto node = m_buffers.extract(stream);
        return node ? std::move(node.mapped()) : nullptr;
    }

private:
    std::mutex m_mutex;
    std::unordered_map<std::FILE*, std::unique_ptr<char[]>> m_buffers;
};

}  // namespace

int _open(const char* path, unsigned int flags, int permission) {
    const int descriptor = retryIfInterrupted(
        [&] { return ::open(path, platformFlags(flags), static_cast<mode_t>(permission)); });
    struct stat data {};
    if (descriptor < 0 || ::fstat(descriptor, &data) != 0 || !S_ISDIR(data.st_mode)) {
        return descriptor;
    }
    ::close(descriptor);
    errno = EISDIR;
    return -1;
}

int _close(int descriptor) { return ::close(descriptor); }

std::FILE* _fdopen(int descriptor, const char* mode) { return ::fdopen(descriptor, mode); }

int _setvbuf(std::FILE* stream, std::size_t sizeBytes) {
    // With a null buffer the runtime library here would ignore the size and take one of its own.
    char* buffer = StreamBuffers::instance().make(stream, sizeBytes);
    if (buffer == nullptr) return -1;
    return std::setvbuf(stream, buffer, _IOFBF, sizeBytes);
}

int _fclose(std::FILE* stream) {
    const std::unique_ptr<char[]> buffer = StreamBuffers::instance().take(stream);
    return std::fclose(stream);  // writes the rest of the buffer, which is freed after it
}

int _fileno(std::FILE* stream) { return ::fileno(stream); }

void finishWriting(std::FILE* stream) {
    if (::__fwriting(stream) != 0) std::fflush(stream);
}

int _fseeki64(std::FILE* stream, std::int64_t offset, int whence) {
    return ::fseeko(stream, offset, whence);
}

std::int64_t _ftelli64(std::FILE* stream) { return ::ftello(stream); }

int _access(const char* path, int mode) { return ::access(path, mode); }

int _mkdir(const char* path) {
    constexpr mode_t everythingTheMaskAllows = 0777;
    return ::mkdir(path, everythingTheMaskAllows);
}

int _rmdir(const char* path) { return ::rmdir(path); }

int _stat64(const char* path, FileStatus& status) {
    struct stat data {};
    if (const int result = ::stat(path, &data); result != 0) return result;
    status = {data.st_mode, data.st_ctime, data.st_atime, data.st_mtime,
              static_cast<std::uint64_t>(data.st_size)};
    return 0;
}

namespace {

// '*' stands for any text, '?' for any one character. Goes back only to the last star: a star that
// matched once never needs to be tried again.
bool matches(const char* pattern, const char* name) {
    const char* afterStar = nullptr;
    const char* retryAt = nullptr;
    while (*name != '\0') {
        if (*pattern == '*') {
            afterStar = ++pattern;
            retryAt = name;
        } else if (*pattern == '?' || *pattern == *name) {
            ++pattern;
            ++name;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            name = ++retryAt;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return *pattern == '\0';
}

bool isHidden(std::string_view name) { return name[0] == '.' && name != "." && name != ".."; }

std::uint32_t attributesOf(const char* name, bool directory, bool writable) {
    return (directory ? FILE_ATTRIBUTE_DIRECTORY : 0) |
           (isHidden(name) ? FILE_ATTRIBUTE_HIDDEN : 0) | (writable ? 0 : FILE_ATTRIBUTE_READONLY);
}

}  // namespace

/// A directory that is being read, and the pattern for the names in it.
class FileSearch {
public:
    explicit FileSearch(std::string_view pattern) {
        const std::size_t nameStart = pattern.rfind('/') + 1;  // npos + 1 is 0
        m_pattern = pattern.substr(nameStart);
        const std::string directory(pattern.substr(0, nameStart));
        m_directory = ::opendir(directory.empty() ? "." : directory.c_str());
    }
    ~FileSearch() {
        if (m_directory != nullptr) ::closedir(m_directory);
    }
    FileSearch(const FileSearch&) = delete;
    FileSearch& operator=(const FileSearch&) = delete;

    bool next(FoundFile& found) {
        if (m_directory == nullptr) return false;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): each search has a directory stream of its own
        while (const dirent* entry = ::readdir(m_directory)) {
            if (matches(m_pattern.c_str(), entry->d_name) && describe(*entry, found)) return true;
        }
        return false;
    }

private:
    // False for an entry that is gone since the directory was read.
    bool describe(const dirent& entry, FoundFile& found) const {
        struct stat data {};
        if (::fstatat(::dirfd(m_directory), entry.d_name, &data, AT_SYMLINK_NOFOLLOW) == 0) {
            constexpr mode_t anyoneWrites = S_IWUSR | S_IWGRP | S_IWOTH;
            found = {entry.d_name,
                     attributesOf(entry.d_name, S_ISDIR(data.st_mode),
                                  (data.st_mode & anyoneWrites) != 0),
                     data.st_ctime,
                     data.st_atime,
                     data.st_mtime,
                     static_cast<std::uint64_t>(data.st_size)};
            return true;
        }
        if (errno == ENOENT) return false;
        // A directory that may be listed but not entered: the name and the type are all there is.
        found = {
            entry.d_name, attributesOf(entry.d_name, entry.d_type == DT_DIR, true), 0, 0, 0, 0};
        return true;
    }

    std::string m_pattern;
    DIR* m_directory = nullptr;
};

FileSearch* _findfirst(const char* pattern, FoundFile& found) {
    auto search = std::make_unique<FileSearch>(pattern);
    return search->next(found) ? search.release() : nullptr;
}

int _findnext(FileSearch* search, FoundFile& found) { return search->next(found) ? 0 : -1; }

int _findclose(FileSearch* search) {
    delete search;
    return 0;
}

bool GetDiskFreeSpaceExA(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                         std::uint64_t& totalFree) {
    struct statvfs disk {};
    if (retryIfInterrupted([&] { return ::statvfs(path, &disk); }) != 0) return false;
    // Blocks are counted in units of f_frsize; f_bsize is only the preferred transfer size.
    callerFree = std::uint64_t{disk.f_bavail} * disk.f_frsize;
    total = std::uint64_t{disk.f_blocks} * disk.f_frsize;
    totalFree = std::uint64_t{disk.f_bfree} * disk.f_frsize;
    return true;
}

}  // namespace Tovra::Platform
