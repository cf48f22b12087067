#include "vesko/component/selection.h"

#include <functional>
#include <map>
#include <string>

#include "vesko/component/factory.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/log.h"
#include "vesko3/assert.h"

namespace Tovra::Component {

using Vesko::CGuard;
using Vesko::CString;

namespace {

struct Defaults {
    Vesko::CMutex mutex;
    std::map<std::string, std::string, std::less<>> classes VESKO_GUARDED_BY(mutex);
};

// Lives to the very end: static objects of a program may ask as they end.
Defaults& defaults() {
    static Defaults& s_defaults = *new Defaults;
    return s_defaults;
}

}  // namespace

bool CLocalComSelectManager::setDefaultComponent(const char* iid, const char* clsid) {
    if (iid == nullptr) return false;
    Defaults& all = defaults();
    CGuard guard(all.mutex);
    if (all.classes.contains(iid)) return false;
    VESKO_ASSERT(clsid);
    all.classes.emplace(iid, clsid);
    return true;
}

CString CLocalComSelectManager::getDefaultClassID(const char* iid) {
    if (iid == nullptr) return CString();
    Defaults& all = defaults();
    CGuard guard(all.mutex);
    const auto place = all.classes.find(iid);
    return CString(place != all.classes.end() ? place->second.c_str() : ClassID::local.name);
}

const ComSelChannelInfo ComSelChannelInfo::local;

ComSelChannelInfo::ComSelChannelInfo() : ComSelChannelInfo(-1, nullptr, -1) {}

ComSelChannelInfo::ComSelChannelInfo(std::int32_t first, const char* text, std::int32_t second)
    : selector1(first), selector2(second), selectorText(text) {}

ComSelDeviceIdInfo::ComSelDeviceIdInfo() : deviceWord1(0), deviceWord2(0) {}

IServerInfoQueryer::~IServerInfoQueryer() = default;

CString getClassId(CString& base, CString& suffix) {
    return suffix.empty() ? base : base + "." + suffix;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value, as the interface tells
bool setQueryerHandler(TComPtr<IServerInfoQueryer> handler) {
    static TComPtr<IServerInfoQueryer> s_handler;
    if (s_handler.isEmpty() && !handler.isEmpty()) {
        s_handler = handler;
        return true;
    }
    Vesko::logError("setQueryerHandler failed setPtr[%p], oldPtr[%p]\n",
                    static_cast<const void*>(handler.get()),
                    static_cast<const void*>(s_handler.get()));
    return false;
}

}  // namespace Tovra::Component
