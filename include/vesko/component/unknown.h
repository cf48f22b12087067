#pragma once

#include "vesko/export.h"

namespace Tovra::Component {

struct UnknownInternal;

/// The base of everything that the component framework hands out: an object that counts its users.
///
/// An object is born with one reference, which belongs to whoever made it, and ends by its own
/// `destroy` when the last one is released; nobody deletes it by itself. `TComPtr` does the counting
/// for its holder, and `CComponentHelper` passes objects on; a client (`IClient`) is released
/// through these alone, since it has a list to leave. The order of the virtual operations is part of the interface.
/// Threads: references may be taken and released on any thread.
class VESKO_API IUnknown {
public:
    IUnknown();
    virtual ~IUnknown();

    [[deprecated("two objects would own one record: objects are shared by reference")]] IUnknown(
        const IUnknown& other);
    [[deprecated("two objects would own one record: objects are shared by reference")]] IUnknown&
    operator=(const IUnknown& other);

    /// Frees the object. Called once, when no reference is left, and by nobody else.
    virtual void destroy() = 0;

    /// Offers another interface of the object. The framework never asks.
    /// @param iid name of the interface
    /// @return null when there is no such interface
    virtual void* queryInterface(const char* iid) = 0;

    /// Takes a reference.
    /// @return the references there are now
    virtual int addRef();

    /// Gives a reference back, and destroys the object with the last one.
    /// @return the references that are left; at 0 the object is gone
    virtual int release();

private:
    friend struct UnknownInternal;

    UnknownInternal* m_internal;
};

}  // namespace Tovra::Component
