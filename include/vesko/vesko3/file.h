#pragma once

#include <cstdint>
#include <cstdio>

#include "vesko/export.h"
#include "vesko/vesko3/filesystem.h"

namespace Tovra::Vesko {

struct CFileInternal;

/// A file with positions and lengths of 32 bits, and helpers for whole files and directories.
///
/// Goes through the table that the path selects (see `hookFileSystem`). The object keeps its own idea
/// of the position and the length: the length is asked for when it is not known, follows what is
/// written here, and never shrinks. Ending the object closes the file. What fails says so by its
/// result, and where it is told also in the log; the last error is not set. `CLfsFile` is the same
/// for files beyond 4 GiB. The order of the virtual operations is part of the interface.
/// Threads: an object is used by one thread at a time.
/// Units: sizes, positions and lengths are bytes.
class VESKO_API CFile {
public:
    /// How to open; one access, and any of the flags.
    enum OpenFlag : unsigned int {
        accessRead = 0,
        accessWrite = 1,       // empties the file, or makes it
        accessReadWrite = 2,   // of a file that exists
        flagNoInherit = 0x80,  // child processes do not get it
        flagCreate = 0x1000,   // with accessReadWrite: empties the file, or makes it
        flagKeep = 0x2000,     // of what would empty it: keeps the content, and writes at the end
        flagDirect = 0x10000   // handed to the table; the default one ignores it
    };

    enum SeekPosition { seekBegin = 0, seekCurrent = 1, seekEnd = 2 };

    /// Buffering, as the runtime library counts it.
    enum IOMode { modeFull = _IOFBF, modeLine = _IOLBF, modeNone = _IONBF };

    CFile();
    virtual ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    /// Opens a file, after closing what is open and freeing what is loaded.
    /// @return false when there is no such file, or the flags make no sense (then with a line in the
    ///         log)
    virtual bool open(const char* path, unsigned int dwFlags);

    /// Closes the file and frees what was loaded.
    virtual void close();

    /// Opens a file and reads it whole. The file stays open.
    /// @return its content, valid until `unload`, `close` or the end of the object; what is loaded
    ///         already; null when the file cannot be opened, is empty (it is then open), or cannot be
    ///         read
    /// @pre the file is smaller than 4 GiB
    virtual unsigned char* load(const char* path);

    /// Closes the file and frees what was loaded.
    virtual void unload();

    /// Reads from the position on.
    /// @return bytes read, fewer than `size` at the end of the file; -1 when no file is open
    virtual long read(void* buffer, unsigned int size);

    /// Writes at the position.
    /// @return bytes written, with a line in the log when they are fewer than `size`; -1 when no file
    ///         is open
    virtual long write(void* buffer, unsigned int size);

    /// Hands what is buffered to the system.
    virtual void flush();

    /// Moves the position. A move to where it is already costs nothing, but for `seekEnd`.
    /// @return the new position; 0, with the position as it was, on failure, also when it would lie
    ///         beyond 32 bits, counted from the begin or from where it is
    virtual unsigned int seek(long offset, SeekPosition whence);

    /// @return 0 when no file is open
    virtual unsigned int getPosition();

    /// @return 0 when no file is open
    virtual unsigned int getLength();

    /// Reads a line with its line feed, or as much of it as there is room for.
    /// @param size of `text`, with the terminating zero
    /// @return `text`; null at the end of the file
    virtual char* gets(char* text, unsigned int size);

    /// Writes a text.
    /// @return the table's result, -1 on failure; 0 when no file is open
    virtual long puts(const char* text);

    virtual bool isOpen();

    /// Writes several pieces at once, past the stream's buffer. Wants a table whose handles are
    /// streams of the runtime library.
    /// @return bytes written; -1 when no file is open or the table does not offer it
    virtual long writev(const io_vec* vector, int count);

    /// Gives the stream a buffer of the caller's, who keeps it until the file is closed. To be called
    /// before anything is read or written.
    /// @return false when no file is open or the runtime library refused
    virtual bool setvbuf(char* buffer, IOMode mode, unsigned int size);

    // Reserved: false.
    virtual bool resv1();
    virtual bool resv2();
    virtual bool resv3();
    virtual bool resv4();

    // Operations on paths, through the table of the (first) path: true when the table gives 0.

    static bool rename(const char* oldName, const char* newName);
    static bool remove(const char* path);
    static bool makeDirectory(const char* path);
    static bool removeDirectory(const char* path);
    /// See `IFileSystem::statfs`.
    static bool statFS(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                       std::uint64_t& totalFree);
    static bool access(const char* path, int mode);
    static bool stat(const char* path, FileInfo& info);

    /// Makes a directory and those above it that are missing.
    /// @return false when the directory itself was not made, also because it exists
    static bool makeDirectoryRecursively(const char* path);

    /// Removes what is in a directory, and the directory. Of a symbolic link in it the link
    /// alone is removed; one that `path` itself names is followed.
    /// @param path       a directory, also with '/' or "/" and '*' behind it
    /// @param removeSelf false keeps the directory itself
    /// @return true when the directory is gone, or was to be kept; entries that resist are only seen
    ///         by that
    static bool removeDirectoryRecursively(const char* path, bool removeSelf);

private:
    CFileInternal* m_internal;
};

}  // namespace Tovra::Vesko
