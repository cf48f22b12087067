#include "platform/posix/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace Tovra::Platform::Detail {

Deadline::Deadline(std::uint32_t milliSeconds) : m_never(milliSeconds == INFINITE) {
    if (m_never) return;
    constexpr long nanoSecondsPerSecond = 1'000'000'000;
    ::clock_gettime(CLOCK_MONOTONIC, &m_moment);
    m_moment.tv_sec += static_cast<time_t>(milliSeconds / 1000);
    m_moment.tv_nsec += static_cast<long>(milliSeconds % 1000) * 1'000'000;
    if (m_moment.tv_nsec < nanoSecondsPerSecond) return;
    m_moment.tv_nsec -= nanoSecondsPerSecond;
    ++m_moment.tv_sec;
}

bool futexWait(const void* word, std::uint32_t expected, const Deadline& deadline) {
    // The bitset form takes its deadline as a moment, so an interrupted sleep needs no arithmetic.
    const long result = ::syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, expected,
                                  deadline.moment(), nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void futexWake(const void* word, int count) {
    ::syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

}  // namespace Tovra::Platform::Detail
