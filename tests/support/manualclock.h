#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/clock.h"

namespace Tovra::Testing {

/// Puts clocks that stand still in the place of the system's, as long as it lives; one at a time.
///
/// The interval counter goes on from the real one, or from where an earlier object left it: the
/// clocks on it never go back, so that they stand still afterwards until the real one has caught up.
/// Setting the clock is written down, and happens to `local` alone.
class ManualClock {
public:
    ManualClock() : m_before(Platform::replaceClock(&table())) {
        s_counter = std::max(s_counter.load(), Platform::s_systemClock.QueryPerformanceCounter());
        s_local = s_utc = {2024, 3, 2, 5, 14, 7, 9, 250};
        s_bias = 0;
        s_refuses = false;
        s_settings.clear();
    }
    ~ManualClock() { Platform::replaceClock(m_before); }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void local(const Platform::SYSTEMTIME& time) { s_local = time; }
    void utc(const Platform::SYSTEMTIME& time) { s_utc = time; }
    void bias(std::int32_t minutes) { s_bias = minutes; }
    /// Has the system refuse to set the clock.
    void refuse() { s_refuses = true; }
    void step(std::int64_t nanoSeconds) { s_counter += nanoSeconds; }
    std::int64_t counter() const { return s_counter; }

    /// What the clock was set to, or should have been, in order.
    const std::vector<Platform::SYSTEMTIME>& settings() const { return s_settings; }

private:
    static bool set(const Platform::SYSTEMTIME& time) {
        s_settings.push_back(time);
        if (s_refuses) return false;
        s_local = time;
        return true;
    }

    static const Platform::ClockTable& table() {
        static constexpr Platform::ClockTable s_table = {
            [] { return s_local; },
            [] { return s_utc; },
            &ManualClock::set,
            [] { return Platform::TIME_ZONE_INFORMATION{s_bias}; },
            [] { return std::int64_t{1'000'000'000}; },
            [] { return s_counter.load(); }};
        return s_table;
    }

    static inline std::atomic<std::int64_t> s_counter{0};
    static inline Platform::SYSTEMTIME s_local{};
    static inline Platform::SYSTEMTIME s_utc{};
    static inline std::int32_t s_bias = 0;
    static inline bool s_refuses = false;
    static inline std::vector<Platform::SYSTEMTIME> s_settings;

    const Platform::ClockTable* const m_before;
};

}  // namespace Tovra::Testing
