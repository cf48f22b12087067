#pragma once

#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/string.h"

/// What the library makes as it is loaded, in the order in which `load.cpp` makes it.
namespace Tovra::Vesko::Detail {

/// The scale of the interval clock.
struct ClockBase {
    ClockBase();  // reads the counter

    double microSecondsPerTick;  // a product costs less than a quotient, on each reading
    double startMicroseconds;
};
extern const ClockBase s_clockBase;

/// Holds the last error of each thread, as the value itself.
extern CThreadSpecific s_lastError;

/// Holds the reuse number that the thread's last reuse delegate bore, as the value itself.
extern CThreadSpecific s_functionReuse;

/// The pattern that was set last for times, and the lock that guards it.
extern CMutex s_formatMutex;
extern CString s_formatString VESKO_GUARDED_BY(s_formatMutex);

}  // namespace Tovra::Vesko::Detail
