#pragma once

#include <atomic>
#include <cstdint>

#include "vesko/component/unknown.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Component {

namespace Detail {
class CObjectTable;
}

/// What the framework knows of every object.
///
/// An object has at most one home: the registry (`className`) or a table (`objectTable`).
struct UnknownInternal {
    static UnknownInternal& of(const IUnknown* object) { return *object->m_internal; }

    std::atomic<std::int32_t> refCount{1};
    // 1 once the object was handed out or referenced: the next instance then needs a reference of
    // its own.
    std::atomic<std::int32_t> instanced{0};
    bool registered = false;   // recorded as an instance in the registry
    Vesko::CString className;  // under which the registry made it
    Detail::CObjectTable* objectTable = nullptr;
};

/// Subtracts 1 and never destroys.
/// @return the references that are left
int decreaseRefCount(IUnknown* object);

/// @return a snapshot, which means something only where a lock keeps new references away
int getRefCount(IUnknown* object);

void setObjectTable(IUnknown* object, Detail::CObjectTable* table);

/// Adds a reference unless this is the first time that the object is handed out.
void makeInstanceForTable(IUnknown* object);

}  // namespace Tovra::Component
