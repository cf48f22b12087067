#include "component/currentuser.h"

#include <cstdint>

#include "vesko/vesko3/locks.h"

namespace Tovra::Component {

namespace {

// Holds the id itself. Lives to the very end: static objects of a program may still ask.
Vesko::CThreadSpecific& slot() {
    static Vesko::CThreadSpecific& s_slot = *new Vesko::CThreadSpecific;
    return s_slot;
}

}  // namespace

int currentUser() {
    void* value = nullptr;
    slot().getValue(&value);
    return static_cast<int>(reinterpret_cast<std::intptr_t>(value));
}

bool setCurrentUser(int id) {
    return slot().setValue(reinterpret_cast<const void*>(static_cast<std::intptr_t>(id)));
}

}  // namespace Tovra::Component
