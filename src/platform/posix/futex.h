#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "platform/sync.h"

/// Sleeping on a 32-bit word: the one primitive under every lock and waitable object here.
namespace Tovra::Platform::Detail {

/// A moment on the monotonic clock, or never.
class Deadline {
public:
    /// @param milliSeconds from now on; `INFINITE` makes a deadline that never comes
    explicit Deadline(std::uint32_t milliSeconds);

    /// @return null for never
    const timespec* moment() const { return m_never ? nullptr : &m_moment; }

private:
    bool m_never;
    timespec m_moment{};
};

/// Sleeps while the word holds `expected`. May return early for no reason: callers look again.
/// @return false when the deadline has passed
bool futexWait(const void* word, std::uint32_t expected, const Deadline& deadline);

/// Wakes up to `count` sleepers. The word need not exist any more; only its address is used.
void futexWake(const void* word, int count);

}  // namespace Tovra::Platform::Detail
