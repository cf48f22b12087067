#include "vesko/vesko3/timermanager.h"

#include "vesko/vesko3/log.h"
#include "vesko3/logmacros.h"
#include "vesko3/singleton.h"
#include "vesko3/timermanagerinternal.h"

namespace Tovra::Vesko {

namespace {
bool takePrint(const char*) { return true; }
}  // namespace

CTimerManager* CTimerManager::instance() {
    return Detail::Singleton<CTimerManager>::instance({"Tovra::Vesko::CTimerManager::instance",
                                                       Detail::SingletonPlace::Route::filtered,
                                                       __FILE__, __LINE__});
}

CTimerManager::CTimerManager() {
    VESKO_FILTERED_OBJECT(trace, "CTimerManager::CTimerManager()>>>>>>>>>\n");
    // Brings up what printing needs, so that it is there until the timers are gone.
    attachPrint(&takePrint);
    detachPrint(&takePrint);
    m_internal = TimerManagerInternal::instance();
}

void CTimerManager::dumpTimers() {
    for (const std::string& line : m_internal->lines()) {
        VESKO_FILTERED(info, "%s", line.c_str());
    }
}

bool CTimerManager::limitIdlePooled(int limit) {
    m_internal->limitIdle(limit);
    return true;
}

}  // namespace Tovra::Vesko
