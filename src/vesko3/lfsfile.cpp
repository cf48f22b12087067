#include "vesko/vesko3/lfsfile.h"

#include <algorithm>
#include <cerrno>

#include "vesko3/assert.h"
#include "vesko3/filerecord.h"
#include "vesko3/hooktable.h"
#include "vesko3/logmacros.h"

namespace Tovra::Vesko {

struct CLfsFileInternal : Detail::FileRecord<std::int64_t> {};

namespace {

// The runtime library's streams take sizes of 31 bits on every platform.
constexpr std::int64_t s_largestPiece = 0x7FFFFFFF;
constexpr std::int64_t s_firstTooLarge = std::int64_t{1} << 32;

std::size_t nextPiece(std::int64_t total, std::int64_t size) {
    return static_cast<std::size_t>(std::min(size - total, s_largestPiece));
}

}  // namespace

CLfsFile::CLfsFile() : m_internal(new CLfsFileInternal) {}
CLfsFile::~CLfsFile() { delete m_internal; }
CLfsFile::CLfsFile(const CLfsFile& other) = default;
CLfsFile& CLfsFile::operator=(const CLfsFile& other) = default;

bool CLfsFile::open(const char* path, unsigned int dwFlags) {
    if (isOpen()) close();
    if (m_internal->m_buffer != nullptr) unload();
    m_internal->m_opt = Detail::fileSystemOf(path);
    VESKO_ASSERT(m_internal->m_opt);
    const std::string mode = Detail::modeOf(dwFlags, Detail::DirectMode::refused);
    if (mode.empty()) {
        VESKO_DIRECT_OBJECT(logError, "CLfsFile::open(): dwFlags(%d) is invalid\n",
                            static_cast<int>(dwFlags));
    }
    if (!mode.empty() && m_internal->open(path, mode, dwFlags)) return true;
    m_internal->m_opt = FileDefaultOpt::instance();
    return false;
}

void CLfsFile::close() { m_internal->close(); }

unsigned char* CLfsFile::load(const char* path) {
    if (m_internal->m_buffer != nullptr) return m_internal->m_buffer;
    if (!open(path, accessRead | flagKeep)) return nullptr;
    if (m_internal->m_length == 0) {
        m_internal->m_length = seek(0, seekEnd);
        seek(0, seekBegin);
    }
    const std::int64_t length = m_internal->m_length;
    if (length == 0) return nullptr;
    if (length < 0 || length >= s_firstTooLarge) {
        VESKO_DIRECT_OBJECT(logError, "CLfsFile::load(): filename(%s), length(%jd) is too large\n",
                            path, static_cast<std::intmax_t>(length));
        unload();
        return nullptr;
    }
    m_internal->m_buffer = new unsigned char[static_cast<std::size_t>(length)];
    seek(0, seekBegin);
    const std::int64_t got = read(m_internal->m_buffer, length);
    if (got == length) return m_internal->m_buffer;
    const std::string reason = Detail::errorText(errno);
    m_internal->showOpenFile();
    VESKO_DIRECT_OBJECT(logWarn, "CLfsFile::load(): filename(%s), length(%ju), ret(%jd), %s\n",
                        path, static_cast<std::uintmax_t>(length), static_cast<std::intmax_t>(got),
                        reason.c_str());
    unload();
    return nullptr;
}

void CLfsFile::unload() {
    close();
    m_internal->freeBuffer();
}

std::int64_t CLfsFile::read(void* buffer, std::int64_t size) {
    if (!m_internal->isOpen() || size < 0) return -1;
    std::int64_t total = 0;
    while (total != size) {
        const std::size_t chunk = nextPiece(total, size);
        const std::size_t n = m_internal->readSome(static_cast<char*>(buffer) + total, chunk);
        if (n == 0) {
            VESKO_DIRECT_OBJECT(
                logWarn, "fread get error,total %jd has read %jd,expected %zu return %zu\n",
                static_cast<std::intmax_t>(size), static_cast<std::intmax_t>(total), chunk, n);
            break;
        }
        total += static_cast<std::int64_t>(n);
    }
    m_internal->moveBy(static_cast<std::size_t>(total));
    return total;
}

std::int64_t CLfsFile::write(void* buffer, std::int64_t size) {
    if (!m_internal->isOpen() || size < 0) return -1;
    std::int64_t total = 0;
    while (total != size) {
        const std::size_t chunk = nextPiece(total, size);
        const std::size_t n = m_internal->writeSome(static_cast<char*>(buffer) + total, chunk);
        if (n == 0) {
            VESKO_DIRECT_OBJECT(
                logWarn, "fwrite get error,total %jd has write %jd,expected %zu return %zu",
                static_cast<std::intmax_t>(size), static_cast<std::intmax_t>(total), chunk, n);
            break;
        }
        total += static_cast<std::int64_t>(n);
    }
    m_internal->refresh();
    return total;
}

void CLfsFile::flush() {
    if (!m_internal->isOpen()) return;
    m_internal->m_opt->fflush(m_internal->m_file);
    m_internal->refresh();
}

std::int64_t CLfsFile::seek(std::int64_t offset, SeekPosition whence) {
    return m_internal->isOpen() ? m_internal->seek(offset, whence) : 0;
}

std::int64_t CLfsFile::getPosition() { return m_internal->m_position; }

std::int64_t CLfsFile::getLength() {
    if (!m_internal->isOpen() || m_internal->m_length != 0) return m_internal->m_length;
    const std::int64_t position = getPosition();
    m_internal->m_length = seek(0, seekEnd);
    seek(position, seekBegin);
    return m_internal->m_length;
}

char* CLfsFile::gets(char* text, std::int64_t size) {
    if (size > s_largestPiece) {
        VESKO_DIRECT_OBJECT(logWarn, "Bytes need to be seeked has been over the _MAX_INT_VALUE.\n");
        return nullptr;
    }
    if (!m_internal->isOpen()) return nullptr;
    return m_internal->gets(text, static_cast<int>(std::max<std::int64_t>(size, 0)));
}

std::int64_t CLfsFile::puts(const char* text) {
    return m_internal->isOpen() ? m_internal->puts(text) : 0;
}

bool CLfsFile::isOpen() { return m_internal->isOpen(); }

std::int64_t CLfsFile::writev(const io_vec* vector, int count) {
    return m_internal->isOpen() ? m_internal->writev(vector, count) : -1;
}

bool CLfsFile::setvbuf(char* buffer, IOMode mode, unsigned int size) {
    return Detail::setvbuf(m_internal->m_file, buffer, mode, size);
}

bool CLfsFile::resv1() { return false; }
bool CLfsFile::resv2() { return false; }
bool CLfsFile::resv3() { return false; }
bool CLfsFile::resv4() { return false; }

bool CLfsFile::rename(const char* oldName, const char* newName) {
    return Detail::renamePath(oldName, newName);
}

bool CLfsFile::remove(const char* path) { return Detail::removePath(path); }

bool CLfsFile::makeDirectory(const char* path) { return Detail::makeDirectory(path); }

bool CLfsFile::removeDirectory(const char* path) { return Detail::removeDirectory(path); }

bool CLfsFile::statFS(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                      std::uint64_t& totalFree) {
    return Detail::statFS(path, callerFree, total, totalFree);
}

bool CLfsFile::access(const char* path, int mode) { return Detail::access(path, mode); }

bool CLfsFile::stat(const char* path, FileInfo& info) { return Detail::stat(path, info); }

}  // namespace Tovra::Vesko
