#include "vesko/component/factory.h"

#include <vector>

#include "component/errors.h"
#include "component/factorystore.h"
#include "vesko3/assert.h"

namespace Tovra::Component {

using Vesko::CRecursiveGuard;
using Vesko::CString;

constinit const ClassID ClassID::local("Local");

// Lives to the very end: static factories are unregistered as they end.
FactoryStore& factoryStore() {
    static FactoryStore& s_store = *new FactoryStore;
    return s_store;
}

IFactoryUnknown::IFactoryUnknown() = default;
IFactoryUnknown::IFactoryUnknown(const IFactoryUnknown&) = default;
IFactoryUnknown& IFactoryUnknown::operator=(const IFactoryUnknown&) = default;
IFactoryUnknown::~IFactoryUnknown() = default;

bool IFactoryUnknown::registerFactory(const char* iid) {
    installErrorTexts();
    FactoryStore& store = factoryStore();
    CRecursiveGuard guard(store.s_factoryMutex);
    store.s_factoryMap[iid][clsid()] = this;
    return true;
}

bool IFactoryUnknown::unregisterFactory(const char* iid) {
    FactoryStore& store = factoryStore();
    CRecursiveGuard guard(store.s_factoryMutex);
    store.s_factoryMap[iid][clsid()] = nullptr;
    return true;
}

struct ClassIDListInternal {
    std::vector<CString> ids;
};

ClassIDList::ClassIDList(const char* iid) : m_internal(new ClassIDListInternal) {
    constexpr std::size_t usualCount = 8;
    m_internal->ids.reserve(usualCount);
    FactoryStore& store = factoryStore();
    CRecursiveGuard guard(store.s_factoryMutex);
    const auto place = store.s_factoryMap.find(iid);
    if (place == store.s_factoryMap.end()) return;
    m_internal->ids.reserve(place->second.size());
    for (const auto& [name, factory] : place->second) m_internal->ids.emplace_back(name);
}

ClassIDList::~ClassIDList() { delete m_internal; }

std::size_t ClassIDList::count() const { return m_internal->ids.size(); }

CString ClassIDList::operator[](int index) const {
    VESKO_ASSERT((size_t)index < m_internal->ids.size());
    return m_internal->ids[static_cast<std::size_t>(index)];
}

}  // namespace Tovra::Component
