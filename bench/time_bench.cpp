#include <benchmark/benchmark.h>
#include <time.h>

#include <chrono>
#include <cstdint>

#include "vesko/vesko3/time.h"

namespace {

using Tovra::Vesko::CTime;

// Moments all over the range, in no order that a processor could learn.
class Moments {
public:
    std::uint64_t next() {
        m_state = m_state * 6364136223846793005 + 1442695040888963407;
        return (m_state >> 33) % 2145916800;
    }

private:
    std::uint64_t m_state = 1;
};

void BM_TimeBreak(benchmark::State& state) {
    Moments moments;
    CTime time;
    for (auto _ : state) {
        time.breakTime(moments.next());
        benchmark::DoNotOptimize(time);
    }
}

void BM_GmtimeBreak(benchmark::State& state) {
    Moments moments;
    tm fields{};
    for (auto _ : state) {
        const auto moment = static_cast<time_t>(moments.next());
        ::gmtime_r(&moment, &fields);
        benchmark::DoNotOptimize(fields);
    }
}

void BM_TimeMake(benchmark::State& state) {
    Moments moments;
    CTime times[256];
    for (CTime& time : times) time = CTime(moments.next());
    std::uint8_t at = 0;
    for (auto _ : state) benchmark::DoNotOptimize(times[at++].makeTime());
}

void BM_TimegmMake(benchmark::State& state) {
    Moments moments;
    tm times[256];
    for (tm& fields : times) {
        const auto moment = static_cast<time_t>(moments.next());
        ::gmtime_r(&moment, &fields);
    }
    std::uint8_t at = 0;
    for (auto _ : state) benchmark::DoNotOptimize(::timegm(&times[at++]));
}

void BM_TimeFormat(benchmark::State& state) {
    const CTime time(2024, 3, 5, 14, 7, 9);
    char text[64];
    for (auto _ : state) {
        time.format(text, "yyyy-MM-dd HH:mm:ss");
        benchmark::DoNotOptimize(text);
    }
}

void BM_StrftimeFormat(benchmark::State& state) {
    const time_t moment = 1709647629;
    tm fields{};
    ::gmtime_r(&moment, &fields);
    char text[64];
    for (auto _ : state) {
        benchmark::DoNotOptimize(::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &fields));
        benchmark::DoNotOptimize(text);
    }
}

void BM_TimeParse(benchmark::State& state) {
    CTime time;
    for (auto _ : state) {
        benchmark::DoNotOptimize(time.parse("2024-03-05 14:07:09", "yyyy-MM-dd HH:mm:ss"));
        benchmark::DoNotOptimize(time);
    }
}

void BM_StrptimeParse(benchmark::State& state) {
    tm fields{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(::strptime("2024-03-05 14:07:09", "%Y-%m-%d %H:%M:%S", &fields));
        benchmark::DoNotOptimize(fields);
    }
}

void BM_ClockMilliSecond(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(CTime::getCurrentMilliSecond());
}

void BM_SteadyClockNow(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(std::chrono::steady_clock::now());
}

void BM_ClockLocalTime(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(CTime::getCurrentTime());
}

void BM_TimeLocaltime(benchmark::State& state) {
    tm fields{};
    for (auto _ : state) {
        const time_t moment = ::time(nullptr);
        ::localtime_r(&moment, &fields);
        benchmark::DoNotOptimize(fields);
    }
}

BENCHMARK(BM_TimeBreak);
BENCHMARK(BM_GmtimeBreak);
BENCHMARK(BM_TimeMake);
BENCHMARK(BM_TimegmMake);
BENCHMARK(BM_TimeFormat);
BENCHMARK(BM_StrftimeFormat);
BENCHMARK(BM_TimeParse);
BENCHMARK(BM_StrptimeParse);
BENCHMARK(BM_ClockMilliSecond)->ThreadRange(1, 2);
BENCHMARK(BM_SteadyClockNow)->ThreadRange(1, 2);
BENCHMARK(BM_ClockLocalTime);
BENCHMARK(BM_TimeLocaltime);

}  // namespace
