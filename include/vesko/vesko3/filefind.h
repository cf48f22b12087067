#pragma once

#include <string>

#include "vesko/export.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Vesko {

struct FileFindInternal;

/// Walks the entries of a directory that a name with wildcards matches.
///
/// `findFile` reads the first entry, `findNextFile` each further one; the getters tell of the entry
/// read last, also after `close`. After a false result the name is unspecified. The table that the
/// pattern's path selects is asked (see `hookFileSystem`). Entries "." and ".." come where the
/// table reports them. Ending the object ends a running search.
/// Threads: one object serves one thread; objects on different threads are independent.
/// Units: sizes are bytes.
class VESKO_API CFileFind {
public:
    CFileFind();
    virtual ~CFileFind();
    CFileFind(const CFileFind&) = delete;
    CFileFind& operator=(const CFileFind&) = delete;

    /// Starts a search, after ending one that runs.
    /// @param pattern a directory and a name, in which '*' stands for any text and '?' for any
    ///                character; null matches nothing
    /// @return false when nothing matches or the directory cannot be read
    virtual bool findFile(const char* pattern);

    /// Reads the next entry.
    /// @return false at the end, or when no search runs
    virtual bool findNextFile();

    /// Ends the search. Harmless when none runs.
    virtual void close();

    /// @return the low 32 bits of the entry's size
    virtual unsigned int getLength();

    /// @return the entry's name
    virtual std::string getFileName();

    /// @return the entry's name behind the directory part of the pattern
    virtual std::string getFilePath();

    /// @return true when the table calls the entry read-only
    virtual bool isReadOnly();

    /// @return true for a directory; the default table never says so of a symbolic link
    virtual bool isDirectory();

    /// @return true when the table calls the entry hidden
    virtual bool isHidden();

    /// @return true for an entry with no attribute at all
    virtual bool isNormal();

private:
    FileFindInternal* m_internal;
};

/// Does what `CFileFind` does, with results in the library's own string type.
class VESKO_API CFileFindEx {
public:
    CFileFindEx();
    ~CFileFindEx();
    CFileFindEx(const CFileFindEx&) = delete;
    CFileFindEx& operator=(const CFileFindEx&) = delete;

    bool findFile(const char* pattern);
    bool findNextFile();
    void close();
    unsigned int getLength();
    CString getFileName();
    CString getFilePath();
    bool isReadOnly();
    bool isDirectory();
    bool isHidden();
    bool isNormal();

private:
    FileFindInternal* m_internal;
};

}  // namespace Tovra::Vesko
