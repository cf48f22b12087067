#include "vesko/vesko3/threadmanager.h"

#include "vesko/vesko3/thread.h"
#include "vesko3/logmacros.h"
#include "vesko3/singleton.h"
#include "vesko3/threadmanagerinternal.h"

namespace Tovra::Vesko {

CThreadManager* CThreadManager::instance() {
    return Detail::Singleton<CThreadManager>::instance({"Tovra::Vesko::CThreadManager::instance",
                                                        Detail::SingletonPlace::Route::filtered,
                                                        __FILE__, __LINE__});
}

CThreadManager::CThreadManager() : m_internal(ThreadManagerInternal::instance()) {}

void CThreadManager::registerMainThread() {
    m_internal->setMainThread(CThread::getCurrentThreadID());
}

void CThreadManager::dumpThreads() {
    const std::vector<std::string> rows = m_internal->rows();
    VESKO_FILTERED(info, "Threads:\n");
    VESKO_FILTERED(info, "               Name            TID  Prior State\n");
    VESKO_FILTERED(info, "_______________________________________________________\n");
    for (const std::string& row : rows) VESKO_FILTERED(info, "%s", row.c_str());
    VESKO_FILTERED(info, "\n");
}

bool CThreadManager::getThreadNameByID(int id, CString& name) {
    return m_internal->nameOf(id, name);
}

bool CThreadManager::getTimeOutThreads(CString& names) { return m_internal->timedOut(names); }

bool CThreadManager::hasThread(int id) { return m_internal->getThread(id) != nullptr; }

}  // namespace Tovra::Vesko
