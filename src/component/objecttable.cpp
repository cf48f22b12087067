#include "vesko/component/objecttable.h"

#include <algorithm>
#include <vector>

#include "component/unknowninternal.h"
#include "vesko/vesko3/locks.h"
#include "vesko3/assert.h"

namespace Tovra::Component::Detail {

struct ObjectTableInternal {
    Vesko::CMutex mutex;
    std::vector<IUnknown*> objects;  // in the order of insertion; guarded by the callers
};

key_base::~key_base() = default;

CObjectTable::CObjectTable() : m_internal(new ObjectTableInternal) {}
CObjectTable::~CObjectTable() { delete m_internal; }
CObjectTable& CObjectTable::operator=(const CObjectTable& other) = default;

void CObjectTable::lock() VESKO_NO_THREAD_SAFETY { m_internal->mutex.enter(); }
void CObjectTable::unlock() VESKO_NO_THREAD_SAFETY { m_internal->mutex.leave(); }

IUnknown* CObjectTable::find(const key_base& key) const {
    for (IUnknown* object : m_internal->objects) {
        if (!key.matches(object)) continue;
        makeInstanceForTable(object);
        return object;
    }
    return nullptr;
}

void CObjectTable::insert(IUnknown* object) {
    setObjectTable(object, this);
    makeInstanceForTable(object);
    m_internal->objects.push_back(object);
}

void CObjectTable::erase(IUnknown* object) { std::erase(m_internal->objects, object); }

std::size_t CObjectTable::count() const { return m_internal->objects.size(); }

IUnknown* CObjectTable::get(std::size_t index) const {
    VESKO_ASSERT(index < m_internal->objects.size());
    return m_internal->objects[index];
}

}  // namespace Tovra::Component::Detail
