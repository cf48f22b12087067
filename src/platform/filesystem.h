#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// Files and directories, where the runtime library alone is not enough.
///
/// Results are those of the runtime library: 0, a count or a pointer for success; -1 or null, with
/// `errno` set, for a failure. Times are seconds since 1970, sizes are bytes.
/// Threads: any thread may call any function; one search belongs to one thread at a time.
namespace Tovra::Platform {

/// How a file is opened; values may be joined.
enum OpenFlags : unsigned int {
    openReadOnly = 0,
    openWriteOnly = 1U << 0,
    openReadWrite = 1U << 1,
    openAppend = 1U << 2,
    openCreate = 1U << 3,
    openTruncate = 1U << 4,
    openBinary = 1U << 5,  // there is no other kind here
    openNoInherit = 1U << 6
};

/// Opens a file and gives its descriptor. A directory is none.
/// @param permission of a file that is created
int _open(const char* path, unsigned int flags, int permission);

/// Closes a descriptor.
int _close(int descriptor);

/// Turns a descriptor into a stream, which then owns it. On failure the descriptor stays open.
std::FILE* _fdopen(int descriptor, const char* mode);

/// @return the descriptor of a stream
int _fileno(std::FILE* stream);

/// Hands on what a stream has to write, before it is read: it may lose that otherwise, and a file that
/// is told to move to where it is already does not ask the stream to.
void finishWriting(std::FILE* stream);

/// Gives a stream a buffer of its own, full buffering. The buffer goes with `_fclose`.
/// @return 0; otherwise memory is short, and the stream keeps the runtime library's own buffer
int _setvbuf(std::FILE* stream, std::size_t sizeBytes);

/// Closes a stream, and frees the buffer that `_setvbuf` gave it.
int _fclose(std::FILE* stream);

int _fseeki64(std::FILE* stream, std::int64_t offset, int whence);
std::int64_t _ftelli64(std::FILE* stream);

int _access(const char* path, int mode);
int _mkdir(const char* path);
int _rmdir(const char* path);

/// What is known of a file.
struct FileStatus {
    std::uint32_t mode;  // type and permissions
    std::int64_t timeChange;
    std::int64_t timeAccess;
    std::int64_t timeWrite;
    std::uint64_t size;
};

/// Reads the status of what `path` leads to, through symbolic links.
int _stat64(const char* path, FileStatus& status);

/// Attribute bits of an entry that a search finds.
inline constexpr std::uint32_t FILE_ATTRIBUTE_READONLY = 0x01;   // nobody may write it
inline constexpr std::uint32_t FILE_ATTRIBUTE_HIDDEN = 0x02;     // its name begins with a dot
inline constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;  // never set for a symbolic link

/// An entry that a search found. `name` is valid until the search goes on or ends.
struct FoundFile {
    const char* name;
    std::uint32_t attributes;
    std::int64_t timeChange;
    std::int64_t timeAccess;
    std::int64_t timeWrite;
    std::uint64_t size;
};

class FileSearch;

/// Starts a search.
/// @param pattern a directory and a name, in which '*' stands for any text and '?' for any
/// character
/// @param found   the first entry; untouched on failure
/// @return null when nothing matches or the directory cannot be read
FileSearch* _findfirst(const char* pattern, FoundFile& found);

/// Goes on to the next entry.
/// @return 0, or -1 at the end, with `found` untouched
int _findnext(FileSearch* search, FoundFile& found);

/// Ends a search.
int _findclose(FileSearch* search);

/// Room on the disk that holds `path`, in bytes.
/// @param callerFree what this user may still take; `totalFree` what is free for anyone
/// @return false when the disk cannot be asked; the outputs are then untouched
bool GetDiskFreeSpaceExA(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                         std::uint64_t& totalFree);

}  // namespace Tovra::Platform
