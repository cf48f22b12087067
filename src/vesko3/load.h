#pragma once

#include "vesko/vesko3/locks.h"

/// What the library makes as it is loaded, in the order in which `load.cpp` makes it.
namespace Tovra::Vesko::Detail {

/// Holds the last error of each thread, as the value itself.
extern CThreadSpecific s_lastError;

/// Holds the reuse number that the thread's last reuse delegate bore, as the value itself.
extern CThreadSpecific s_functionReuse;

}  // namespace Tovra::Vesko::Detail
