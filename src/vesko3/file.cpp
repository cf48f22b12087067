#include "vesko/vesko3/file.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include "vesko/vesko3/filefind.h"
#include "vesko3/assert.h"
#include "vesko3/filerecord.h"
#include "vesko3/hooktable.h"
#include "vesko3/logmacros.h"

namespace Tovra::Vesko {

struct CFileInternal : Detail::FileRecord<std::uint32_t> {};

namespace {

/// The pattern that finds everything in a directory.
class ContentPattern {
public:
    explicit ContentPattern(const char* path) {
        const std::size_t length = std::strlen(path);
        const char* missing = "/*";
        if (length >= 1 && path[length - 1] == '/') missing = "*";
        if (length >= 2 && std::strcmp(path + length - 2, "/*") == 0) missing = "";
        m_isCut = std::snprintf(m_text, sizeof m_text, "%s%s", path, missing) >=
                  static_cast<int>(sizeof m_text);
    }

    const char* text() const { return m_text; }
    bool isCut() const { return m_isCut; }

    std::string directory() const { return std::string(m_text, std::strlen(m_text) - 1); }

private:
    char m_text[1024];
    bool m_isCut = false;  // it would find what belongs to another directory
};

bool isGiven(const char* path) {
    if (path != nullptr && *path != '\0') return true;
    VESKO_DIRECT_THREAD(logWarn, "the path is unvalid");
    return false;
}

void removeEntries(CFileFind& search) {
    do {
        const std::string name = search.getFileName();
        if (name == "." || name == "..") continue;
        const std::string path = search.getFilePath();
        if (search.isDirectory()) {
            // Behind a slash, a directory of the name "*" stands for itself as well.
            CFile::removeDirectoryRecursively((path + '/').c_str(), true);
        } else {
            CFile::remove(path.c_str());
        }
    } while (search.findNextFile());
}

}  // namespace

CFile::CFile() : m_internal(new CFileInternal) {}
CFile::~CFile() { delete m_internal; }

bool CFile::open(const char* path, unsigned int dwFlags) {
    if (isOpen()) close();
    if (m_internal->m_buffer != nullptr) unload();
    m_internal->m_opt = Detail::fileSystemOf(path);
    VESKO_ASSERT(m_internal->m_opt);
    const std::string mode = Detail::modeOf(dwFlags, Detail::DirectMode::allowed);
    if (mode.empty()) {
        VESKO_DIRECT_OBJECT(logError, "CFile::open(): dwFlags(%d) is invalid\n",
                            static_cast<int>(dwFlags));
    }
    if (!mode.empty() && m_internal->open(path, mode, dwFlags)) return true;
    m_internal->m_opt = FileDefaultOpt::instance();
    return false;
}

void CFile::close() { m_internal->close(); }

unsigned char* CFile::load(const char* path) {
    if (m_internal->m_buffer != nullptr) return m_internal->m_buffer;
    if (!open(path, accessRead | flagKeep)) return nullptr;
    if (m_internal->m_length == 0) {
        m_internal->m_length = seek(0, seekEnd);
        seek(0, seekBegin);
    }
    if (m_internal->m_length == 0) return nullptr;
    m_internal->m_buffer = new unsigned char[m_internal->m_length];
    seek(0, seekBegin);
    const long got = read(m_internal->m_buffer, m_internal->m_length);
    if (got == static_cast<long>(m_internal->m_length)) return m_internal->m_buffer;
    const std::string reason = Detail::errorText(errno);
    m_internal->showOpenFile();
    VESKO_DIRECT_OBJECT(logWarn, "CFile::load(): filename(%s), length(%d), ret(%d), %s\n", path,
                        static_cast<int>(m_internal->m_length), static_cast<int>(got),
                        reason.c_str());
    unload();
    return nullptr;
}

void CFile::unload() {
    close();
    m_internal->freeBuffer();
}

long CFile::read(void* buffer, unsigned int size) {
    if (!m_internal->isOpen()) return -1;
    const std::size_t got = m_internal->readSome(buffer, size);
    m_internal->moveBy(got);
    return static_cast<long>(got);
}

long CFile::write(void* buffer, unsigned int size) {
    if (!m_internal->isOpen()) return -1;
    const std::size_t done = m_internal->writeSome(buffer, size);
    if (done < size) {
        const int error = errno;
        logWarn("fwrite failed, expected:%lu, actual:%lu,errno=%d, errmsg:%s\n",
                static_cast<unsigned long>(size), static_cast<unsigned long>(done), error,
                Detail::errorText(error).c_str());
    }
    m_internal->refresh();
    return static_cast<long>(done);
}

void CFile::flush() {
    if (!m_internal->isOpen()) return;
    m_internal->m_opt->fflush(m_internal->m_file);
    m_internal->refresh();
}

unsigned int CFile::seek(long offset, SeekPosition whence) {
    return m_internal->isOpen() ? m_internal->seek(offset, whence) : 0;
}

unsigned int CFile::getPosition() { return m_internal->m_position; }

unsigned int CFile::getLength() {
    if (!m_internal->isOpen() || m_internal->m_length != 0) return m_internal->m_length;
    const unsigned int position = getPosition();
    m_internal->m_length = seek(0, seekEnd);
    seek(static_cast<long>(position), seekBegin);
    return m_internal->m_length;
}

char* CFile::gets(char* text, unsigned int size) {
    if (!m_internal->isOpen()) return nullptr;
    const int room = size <= INT_MAX ? static_cast<int>(size) : INT_MAX;
    return m_internal->gets(text, room);
}

long CFile::puts(const char* text) { return m_internal->isOpen() ? m_internal->puts(text) : 0; }

bool CFile::isOpen() { return m_internal->isOpen(); }

long CFile::writev(const io_vec* vector, int count) {
    return m_internal->isOpen() ? m_internal->writev(vector, count) : -1;
}

bool CFile::setvbuf(char* buffer, IOMode mode, unsigned int size) {
    return Detail::setvbuf(m_internal->m_file, buffer, mode, size);
}

bool CFile::resv1() { return false; }
bool CFile::resv2() { return false; }
bool CFile::resv3() { return false; }
bool CFile::resv4() { return false; }

bool CFile::rename(const char* oldName, const char* newName) {
    return Detail::renamePath(oldName, newName);
}

bool CFile::remove(const char* path) { return Detail::removePath(path); }

bool CFile::makeDirectory(const char* path) { return Detail::makeDirectory(path); }

bool CFile::removeDirectory(const char* path) { return Detail::removeDirectory(path); }

bool CFile::statFS(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                   std::uint64_t& totalFree) {
    return Detail::statFS(path, callerFree, total, totalFree);
}

bool CFile::access(const char* path, int mode) { return Detail::access(path, mode); }

bool CFile::stat(const char* path, FileInfo& info) { return Detail::stat(path, info); }

bool CFile::makeDirectoryRecursively(const char* path) {
    if (!isGiven(path)) return false;
    std::string whole = path;
    if (whole.ends_with('/')) whole.pop_back();
    for (std::size_t end = whole.find('/'); end != std::string::npos;
         end = whole.find('/', end + 1)) {
        if (end != 0) makeDirectory(whole.substr(0, end).c_str());
    }
    return makeDirectory(whole.c_str());
}

bool CFile::removeDirectoryRecursively(const char* path, bool removeSelf) {
    if (!isGiven(path)) return false;
    const ContentPattern pattern(path);
    CFileFind search;
    if (pattern.isCut() || !search.findFile(pattern.text())) {
        VESKO_DIRECT_THREAD(logWarn, "the path %s does not exist", pattern.text());
        return false;
    }
    removeEntries(search);
    search.close();
    return !removeSelf || removeDirectory(pattern.directory().c_str());
}

}  // namespace Tovra::Vesko
