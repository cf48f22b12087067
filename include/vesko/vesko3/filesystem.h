#pragma once

#include <cstddef>
#include <cstdint>

#include "vesko/export.h"

namespace Tovra::Vesko {

/// Attribute bits of an entry that a search finds. No bit at all is an ordinary file.
enum FileAttribute : std::uint32_t {
    attributeReadOnly = 0x01,
    attributeHidden = 0x02,
    attributeDirectory = 0x10,
    attributeMask = 0xFFFF  // bits beyond it are not looked at
};

/// What is known of a file. Times are seconds since 1970-01-01 00:00:00 UTC.
struct FileInfo {
    char name[260];        // always ends in a zero; 259 characters at most
    std::uint32_t attrib;  // `FileAttribute` bits of a search, or the mode word of `stat`
    std::int64_t timeCreate;
    std::int64_t timeAccess;
    std::int64_t timeWrite;
    std::uint64_t size;  // bytes
};

/// A piece of memory, one of several that `IFileSystem::writev` writes at once.
struct io_vec {
    void* base;
    std::size_t length;
};

/// A table of file operations. A program derives its own to put a part of the path space onto
/// storage of another kind, and binds it with `hookFileSystem`.
///
/// File handles are opaque; results are those of the runtime library's functions of the same names.
/// The order of the operations is part of the interface.
/// Threads: a table is called from any thread that uses files; one file or search handle is used by
/// one thread at a time.
/// Units: sizes and offsets are bytes.
class VESKO_API IFileSystem {
public:
    virtual ~IFileSystem();

    /// Opens a file.
    /// @param mode a runtime library mode, to which 'e' (not inherited by child processes) and 'd'
    ///             (direct) may be added
    /// @return the handle, null on failure
    virtual void* fopen(const char* path, const char* mode) = 0;
    virtual int fclose(void* file) = 0;
    virtual std::size_t fread(void* buffer, std::size_t size, std::size_t count, void* file) = 0;
    virtual std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                               void* file) = 0;
    virtual int fflush(void* file) = 0;
    /// @return a negative number on failure
    virtual int fseek(void* file, long offset, int whence) = 0;
    virtual long ftell(void* file) = 0;
    virtual char* fgets(char* text, int size, void* file) = 0;
    /// @return -1 on failure
    virtual int fputs(const char* text, void* file) = 0;
    virtual int rename(const char* oldName, const char* newName) = 0;
    virtual int remove(const char* path) = 0;

    /// Starts a search and reads its first entry.
    /// @param pattern a directory and a name with wildcards
    /// @param info    the directory stands in `name` before the call; the entry after it. Untouched
    ///                on failure
    /// @return the search handle, -1 on failure
    virtual long findfirst(const char* pattern, FileInfo& info) = 0;
    /// Reads the next entry of a search.
    /// @param info as in `findfirst`
    /// @return -1 at the end or for a handle of -1
    virtual int findnext(long handle, FileInfo& info) = 0;
    virtual int findclose(long handle) = 0;

    virtual int mkdir(const char* path) = 0;
    virtual int rmdir(const char* path) = 0;

    /// Room on the disk that holds `path`.
    /// @param callerFree what this user may still take
    /// @param totalFree  what is free for anyone
    /// @return 0; otherwise the outputs are untouched
    virtual int statfs(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                       std::uint64_t& totalFree) = 0;
    virtual int access(const char* path, int mode) = 0;
    /// Reads what is known of a file.
    /// @param info `attrib` receives the mode word, `timeCreate` the time of the last change of
    ///             status. Untouched on failure
    /// @return 0 on success
    virtual int stat(const char* path, FileInfo& info) = 0;

    /// Writes several pieces at once.
    /// @return bytes written; 0 unless a table overrides it
    virtual long writev(int fd, const io_vec* vector, int count);
    /// @return a negative number on failure; -1 unless a table overrides it
    virtual int fseek64(void* file, std::int64_t offset, int whence);
    /// @return -1 unless a table overrides it
    virtual std::int64_t ftell64(void* file);
};

/// The table of every path that no hook claims: straight to the system's own files.
///
/// Its handles are streams of the runtime library, with a buffer of 16 KiB each. A directory cannot
/// be opened as a file. A null path fails as an empty one does. `writev` is not available and gives
/// -1. A search reports the low 32 bits of a size; it shows a symbolic link as itself, calls a name
/// hidden that begins with a dot, and read-only what nobody may write.
/// Threads: holds no state and may be called from any thread.
class VESKO_API FileDefaultOpt : public IFileSystem {
public:
    /// @return the one object, made on first use and ended at exit
    static FileDefaultOpt* instance();

    /// @pre `mode` is neither null nor empty
    void* fopen(const char* path, const char* mode) override;
    int fclose(void* file) override;
    std::size_t fread(void* buffer, std::size_t size, std::size_t count, void* file) override;
    std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                       void* file) override;
    int fflush(void* file) override;
    int fseek(void* file, long offset, int whence) override;
    long ftell(void* file) override;
    char* fgets(char* text, int size, void* file) override;
    int fputs(const char* text, void* file) override;
    int rename(const char* oldName, const char* newName) override;
    int remove(const char* path) override;
    long findfirst(const char* pattern, FileInfo& info) override;
    int findnext(long handle, FileInfo& info) override;
    int findclose(long handle) override;
    int mkdir(const char* path) override;
    int rmdir(const char* path) override;
    int statfs(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
               std::uint64_t& totalFree) override;
    int access(const char* path, int mode) override;
    int stat(const char* path, FileInfo& info) override;
    long writev(int fd, const io_vec* vector, int count) override;
    int fseek64(void* file, std::int64_t offset, int whence) override;
    std::int64_t ftell64(void* file) override;
};

/// Binds a path prefix to a table, or removes the binding.
///
/// The first hook whose prefix begins a path gets the path: the test is on characters, and the
/// order of hooking decides, not the length. There is room for 31 hooks; one more is dropped. A
/// hooked table is not owned and must outlive every file and search that uses it.
/// Threads: no lock. Hook before other threads use files, and change nothing while they do.
/// @param prefix     the first 255 characters are kept and compared; to remove a longer prefix,
///                   give those
/// @param fileSystem null removes the first hook of exactly this prefix, if there is one
VESKO_API void hookFileSystem(const char* prefix, IFileSystem* fileSystem);

}  // namespace Tovra::Vesko
