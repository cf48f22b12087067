#include "vesko3/logfile.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/filesystem.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/log.h"

namespace Tovra::Vesko {

namespace {

/// The one log file of the process.
class LogFile {
public:
    // Never destroyed: records come until the last static object has ended.
    static LogFile& instance() {
        static LogFile& s_file = *new LogFile;
        return s_file;
    }

    void setPath(const char* path) {
        CGuard guard(m_mutex);
        m_path = path;
        s_wanted.store(!m_path.empty(), std::memory_order_relaxed);
    }

    void setLimit(int limitBytes) {
        CGuard guard(m_mutex);
        m_limitBytes = limitBytes;
    }

    int write(const char* text, int length) {
        CGuard guard(m_mutex);
        if (m_path.empty()) return 0;
        if (!m_sizeRead) readSize();
        if (m_stream == nullptr && !open("a+")) return -1;
        if (m_sizeBytes >= m_limitBytes && !startAfresh()) return -1;
        const std::size_t written =
            std::fwrite(text, 1, static_cast<std::size_t>(length), m_stream);
        m_sizeBytes += static_cast<std::int64_t>(written);
        std::fflush(m_stream);
        return 0;
    }

    void close() {
        CGuard guard(m_mutex);
        closeStream();
    }

    // Whether a path is set: most programs have none, and their records take no lock for it.
    static bool isWanted() { return s_wanted.load(std::memory_order_relaxed); }

private:
    // Once in a process: after that the running count holds.
    void readSize() VESKO_REQUIRES(m_mutex) {
        Platform::FileStatus status{};
        if (Platform::_stat64(m_path.c_str(), status) == 0) {
            m_sizeBytes = static_cast<std::int64_t>(status.size);
        }
        m_sizeRead = true;
    }

    bool open(const char* mode) VESKO_REQUIRES(m_mutex) {
        m_stream = std::fopen(m_path.c_str(), mode);
        if (m_stream == nullptr) std::perror("fopen:");
        return m_stream != nullptr;
    }

    bool startAfresh() VESKO_REQUIRES(m_mutex) {
        closeStream();
        if (!open("w+")) return false;
        m_sizeBytes = 0;
        return true;
    }

    void closeStream() VESKO_REQUIRES(m_mutex) {
        if (m_stream == nullptr) return;
        std::fclose(m_stream);
        m_stream = nullptr;
    }

    static constinit inline std::atomic<bool> s_wanted{false};

    CMutex m_mutex;
    std::string m_path VESKO_GUARDED_BY(m_mutex);
    std::int64_t m_limitBytes VESKO_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_sizeBytes VESKO_GUARDED_BY(m_mutex) = 0;  // running
    bool m_sizeRead VESKO_GUARDED_BY(m_mutex) = false;
    std::FILE* m_stream VESKO_GUARDED_BY(m_mutex) = nullptr;
};

}  // namespace

void Detail::setLogFilePath(const char* path) { LogFile::instance().setPath(path); }

void Detail::setLogFileLimit(int limitBytes) { LogFile::instance().setLimit(limitBytes); }

int Detail::writeLogFile(const char* text, int length) {
    return LogFile::isWanted() ? LogFile::instance().write(text, length) : 0;
}

void logCleanup() { LogFile::instance().close(); }

}  // namespace Tovra::Vesko
