#pragma once

#include "vesko/component/unknown.h"

namespace Tovra::Component {

/// Gives back a reference on an instance that the registry has on record. The registry is locked
/// before the count falls, so that it never hands out an object that is about to end; the object
/// ends after that, without the lock.
/// @return the references that are left
int releaseInstance(IUnknown* object);

}  // namespace Tovra::Component
