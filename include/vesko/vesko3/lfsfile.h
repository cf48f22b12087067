#pragma once

#include <cstdint>
#include <cstdio>

#include "vesko/export.h"
#include "vesko/vesko3/filesystem.h"

namespace Tovra::Vesko {

struct CLfsFileInternal;

/// A file with positions and lengths of 64 bits, and helpers for whole files and directories.
///
/// It does what `CFile` does, told there, for files of any size. A read that meets the end of the
/// file before it has all that was asked for says so in the log.
/// Threads: an object is used by one thread at a time.
/// Units: sizes, positions and lengths are bytes.
class VESKO_API CLfsFile {
public:
    /// How to open; one access, and any of the flags.
    enum OpenFlag : unsigned int {
        accessRead = 0,
        accessWrite = 1,       // empties the file, or makes it
        accessReadWrite = 2,   // of a file that exists
        flagNoInherit = 0x80,  // child processes do not get it
        flagCreate = 0x1000,   // with accessReadWrite: empties the file, or makes it
        flagKeep = 0x2000,     // of what would empty it: keeps the content, and writes at the end
    };

    enum SeekPosition { seekBegin = 0, seekCurrent = 1, seekEnd = 2 };

    /// Buffering, as the runtime library counts it.
    enum IOMode { modeFull = _IOFBF, modeLine = _IOLBF, modeNone = _IONBF };

    CLfsFile();
    virtual ~CLfsFile();

    [[deprecated("two files would own one record")]] CLfsFile(const CLfsFile& other);
    [[deprecated("two files would own one record")]] CLfsFile& operator=(const CLfsFile& other);

    /// Opens a file, after closing what is open and freeing what is loaded.
    /// @return false when there is no such file, or the flags make no sense (then with a line in the
    ///         log)
    virtual bool open(const char* path, unsigned int dwFlags);

    /// Closes the file and frees what was loaded.
    virtual void close();

    /// Opens a file and reads it whole. The file stays open.
    /// @return its content, valid until `unload`, `close` or the end of the object; what is loaded
    ///         already; null when the file cannot be opened, is empty (it is then open), or cannot be
    ///         read or has 4 GiB and more
    virtual unsigned char* load(const char* path);

    /// Closes the file and frees what was loaded.
    virtual void unload();

    /// Reads from the position on.
    /// @return bytes read, fewer than `size` at the end of the file; -1 when no file is open or `size` is negative
    virtual std::int64_t read(void* buffer, std::int64_t size);

    /// Writes at the position.
    /// @return bytes written, with a line in the log when they are fewer than `size`; -1 when no file
    ///         is open or `size` is negative
    virtual std::int64_t write(void* buffer, std::int64_t size);

    /// Hands what is buffered to the system.
    virtual void flush();

    /// Moves the position. A move to where it is already costs nothing, but for `seekEnd`.
    /// @return the new position; 0, with the position as it was, on failure
    virtual std::int64_t seek(std::int64_t offset, SeekPosition whence);

    /// @return 0 when no file is open
    virtual std::int64_t getPosition();

    /// @return 0 when no file is open
    virtual std::int64_t getLength();

    /// Reads a line with its line feed, or as much of it as there is room for.
    /// @param size of `text`, with the terminating zero; refused from 2 GiB on
    /// @return `text`; null at the end of the file
    virtual char* gets(char* text, std::int64_t size);

    /// Writes a text.
    /// @return the table's result, -1 on failure; 0 when no file is open
    virtual std::int64_t puts(const char* text);

    virtual bool isOpen();

    /// Writes several pieces at once, past the stream's buffer. Wants a table whose handles are
    /// streams of the runtime library.
    /// @return bytes written; -1 when no file is open or the table does not offer it
    virtual std::int64_t writev(const io_vec* vector, int count);

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

private:
    CLfsFileInternal* m_internal;
};

}  // namespace Tovra::Vesko
