#include "vesko/component/unknown.h"

#include "component/registryinternal.h"
#include "component/unknowninternal.h"
#include "vesko/component/objecttable.h"
#include "vesko3/assert.h"

namespace Tovra::Component {

namespace {

// The table is locked before the count falls: a search either takes its reference first, or does
// not find the object any more.
int releaseFromTable(IUnknown* object, Detail::CObjectTable& table) {
    table.lock();
    const int count = decreaseRefCount(object);
    if (count == 0) table.erase(object);
    table.unlock();
    if (count == 0) object->destroy();
    return count;
}

}  // namespace

int decreaseRefCount(IUnknown* object) {
    VESKO_ASSERT(object);
    return UnknownInternal::of(object).refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

int getRefCount(IUnknown* object) {
    return UnknownInternal::of(object).refCount.load(std::memory_order_acquire);
}

void setObjectTable(IUnknown* object, Detail::CObjectTable* table) {
    VESKO_ASSERT(object);
    UnknownInternal::of(object).objectTable = table;
}

void makeInstanceForTable(IUnknown* object) {
    VESKO_ASSERT(object);
    UnknownInternal& internal = UnknownInternal::of(object);
    if (internal.instanced.exchange(1, std::memory_order_acq_rel) == 0) return;
    internal.refCount.fetch_add(1, std::memory_order_relaxed);
}

IUnknown::IUnknown() : m_internal(new UnknownInternal) {}

IUnknown::~IUnknown() {
    delete m_internal;
    m_internal = nullptr;
}

IUnknown::IUnknown(const IUnknown& other) = default;
IUnknown& IUnknown::operator=(const IUnknown& other) = default;

int IUnknown::addRef() {
    m_internal->instanced.store(1, std::memory_order_release);
    return m_internal->refCount.fetch_add(1, std::memory_order_relaxed) + 1;
}

int IUnknown::release() {
    if (m_internal->objectTable != nullptr) return releaseFromTable(this, *m_internal->objectTable);
    if (m_internal->registered) return releaseInstance(this);
    const int count = decreaseRefCount(this);
    if (count == 0) destroy();
    return count;
}

}  // namespace Tovra::Component
