#include "vesko/vesko3/filefind.h"

#include <string_view>

#include "vesko3/copytext.h"
#include "vesko3/hooktable.h"

namespace Tovra::Vesko {

/// Everything that both kinds of search know and do.
struct FileFindInternal {
    FileFindInternal() = default;
    ~FileFindInternal() { close(); }
    FileFindInternal(const FileFindInternal&) = delete;
    FileFindInternal& operator=(const FileFindInternal&) = delete;

    bool findFile(const char* pattern) {
        close();
        if (pattern == nullptr) return false;
        const std::string_view path(pattern);
        m_directory.assign(pattern, path.rfind('/') + 1);  // npos + 1 is 0
        m_opt = Detail::fileSystemOf(pattern);
        announceDirectory();
        m_handle = m_opt->findfirst(pattern, m_info);
        return m_handle != -1;
    }

    bool findNextFile() {
        announceDirectory();
        return m_opt->findnext(m_handle, m_info) != -1;
    }

    void close() {
        if (m_handle == -1) return;
        m_opt->findclose(m_handle);
        m_handle = -1;
    }

    bool has(std::uint32_t attributes) const { return (m_info.attrib & attributes) != 0; }

    long m_handle = -1;  // -1: no search runs
    FileInfo m_info{};   // the current entry
    IFileSystem* m_opt = FileDefaultOpt::instance();
    CString m_directory;  // of the pattern, with its final '/'

private:
    // A hooked table is told the directory here and nowhere else.
    void announceDirectory() { Detail::copyText(m_info.name, m_directory.c_str()); }
};

CFileFind::CFileFind() : m_internal(new FileFindInternal) {}
CFileFind::~CFileFind() { delete m_internal; }

bool CFileFind::findFile(const char* pattern) { return m_internal->findFile(pattern); }
bool CFileFind::findNextFile() { return m_internal->findNextFile(); }
void CFileFind::close() { m_internal->close(); }
unsigned int CFileFind::getLength() { return static_cast<unsigned int>(m_internal->m_info.size); }
std::string CFileFind::getFileName() { return m_internal->m_info.name; }
std::string CFileFind::getFilePath() {
    return m_internal->m_directory.c_str() + std::string(m_internal->m_info.name);
}
bool CFileFind::isReadOnly() { return m_internal->has(attributeReadOnly); }
bool CFileFind::isDirectory() { return m_internal->has(attributeDirectory); }
bool CFileFind::isHidden() { return m_internal->has(attributeHidden); }
bool CFileFind::isNormal() { return !m_internal->has(attributeMask); }

CFileFindEx::CFileFindEx() : m_internal(new FileFindInternal) {}
CFileFindEx::~CFileFindEx() { delete m_internal; }

bool CFileFindEx::findFile(const char* pattern) { return m_internal->findFile(pattern); }
bool CFileFindEx::findNextFile() { return m_internal->findNextFile(); }
void CFileFindEx::close() { m_internal->close(); }
unsigned int CFileFindEx::getLength() { return static_cast<unsigned int>(m_internal->m_info.size); }
CString CFileFindEx::getFileName() { return CString(m_internal->m_info.name); }
CString CFileFindEx::getFilePath() { return m_internal->m_directory + m_internal->m_info.name; }
bool CFileFindEx::isReadOnly() { return m_internal->has(attributeReadOnly); }
bool CFileFindEx::isDirectory() { return m_internal->has(attributeDirectory); }
bool CFileFindEx::isHidden() { return m_internal->has(attributeHidden); }
bool CFileFindEx::isNormal() { return !m_internal->has(attributeMask); }

}  // namespace Tovra::Vesko
