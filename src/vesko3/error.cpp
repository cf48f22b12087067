#include "vesko/vesko3/error.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "vesko3/load.h"
#include "vesko3/singleton.h"

namespace Tovra::Vesko {

namespace {

/// The messages of all error codes.
class CErrorMessageManager {
public:
    static CErrorMessageManager* instance() {
        return Detail::Singleton<CErrorMessageManager>::instance(
            {"`anonymous-namespace'::CErrorMessageManager::instance",
             Detail::SingletonPlace::Route::direct, __FILE__, __LINE__});
    }

    void set(int code, const char* message) {
        const char* text = message != nullptr ? message : "";
        CGuard guard(m_mutex);
        if (const auto found = m_messages.find(code); found != m_messages.end()) {
            found->second->assign(text);
        } else {
            // Made before the entry: there is never an entry without a text.
            m_messages.emplace(code, std::make_unique<std::string>(text));
        }
    }

    const char* get(int code) {
        CGuard guard(m_mutex);
        const auto found = m_messages.find(code);
        return found != m_messages.end() ? found->second->c_str() : "";
    }

private:
    CMutex m_mutex;
    // On the heap one by one: a text keeps its place while others come in.
    std::map<int, std::unique_ptr<std::string>> m_messages VESKO_GUARDED_BY(m_mutex);
};

[[noreturn]] void custom_abort() {
    // abort flushes nothing. When no line was printed the stream is left alone: a thread that is
    // stuck in it must not keep the process from ending.
    if (logInfo("custom_abort, line : %d\n", __LINE__) > 0) std::fflush(stdout);
    std::abort();
}

}  // namespace

void setLastError(int code) {
    Detail::s_lastError.setValue(reinterpret_cast<void*>(static_cast<std::intptr_t>(code)));
}

int getLastError() {
    void* value = nullptr;
    Detail::s_lastError.getValue(&value);
    return static_cast<int>(reinterpret_cast<std::intptr_t>(value));
}

void setErrMsg(int code, const char* message) {
    CErrorMessageManager::instance()->set(code, message);
}

const char* getErrMsg(int code) { return CErrorMessageManager::instance()->get(code); }

void setErrorMessage(int code, const CString& message) { setErrMsg(code, message.c_str()); }

CString getErrorMessage(int code) { return CString(getErrMsg(code)); }

namespace Detail {

void assertionFailed(const char* expression, const char* function, const char* file, long line) {
    std::fprintf(stderr, "***** Internal Program Error - assertion (%s) failed in %s: %s(%ld)\n",
                 expression, function, file, line);
    custom_abort();
}

void assertionFailedMsg(const char* expression, const char* message, const char* function,
                        const char* file, long line) {
    std::fprintf(stderr,
                 "***** Internal Program Error - assertion (%s) failed in %s: %s(%ld): %s\n",
                 expression, function, file, line, message);
    custom_abort();
}

}  // namespace Detail

}  // namespace Tovra::Vesko
