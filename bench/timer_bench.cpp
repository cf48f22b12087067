#include <benchmark/benchmark.h>
#include <uv.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/timer.h"

namespace {

using namespace Tovra::Vesko;
using Clock = std::chrono::steady_clock;

constexpr int longMilliSeconds = 600'000;

void nothing(unsigned long) {}

// The armed ones are due at different times, around that of the one that is started and stopped.
int delayOf(std::int64_t i) { return longMilliSeconds + static_cast<int>(i % 1000); }

void BM_TimerStartStop(benchmark::State& state) {
    std::vector<std::unique_ptr<CTimer>> armed;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        armed.push_back(std::make_unique<CTimer>("armed"));
        armed.back()->start(&nothing, static_cast<unsigned int>(delayOf(i)), 0, 0, 0);
    }
    CTimer timer("bench");
    for (auto _ : state) {
        timer.start(&nothing, longMilliSeconds + 500, 0, 0, 0);
        timer.stop(false);
    }
}
BENCHMARK(BM_TimerStartStop)->Arg(1)->Arg(1'000)->Arg(10'000)->Arg(100'000);

void BM_AsioTimerStartStop(benchmark::State& state) {
    boost::asio::io_context context;
    std::vector<std::unique_ptr<boost::asio::steady_timer>> armed;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        armed.push_back(std::make_unique<boost::asio::steady_timer>(
            context, std::chrono::milliseconds(delayOf(i))));
        armed.back()->async_wait([](const boost::system::error_code&) {});
    }
    boost::asio::steady_timer timer(context);
    for (auto _ : state) {
        timer.expires_after(std::chrono::milliseconds(longMilliSeconds + 500));
        timer.async_wait([](const boost::system::error_code&) {});
        timer.cancel();
        context.poll();
    }
}
BENCHMARK(BM_AsioTimerStartStop)->Arg(1)->Arg(1'000)->Arg(10'000)->Arg(100'000);

void BM_UvTimerStartStop(benchmark::State& state) {
    uv_loop_t loop;
    uv_loop_init(&loop);
    std::vector<std::unique_ptr<uv_timer_t>> armed;
    const auto callback = [](uv_timer_t*) {};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        armed.push_back(std::make_unique<uv_timer_t>());
        uv_timer_init(&loop, armed.back().get());
        uv_timer_start(armed.back().get(), callback, static_cast<std::uint64_t>(delayOf(i)), 0);
    }
    uv_timer_t timer;
    uv_timer_init(&loop, &timer);
    for (auto _ : state) {
        uv_timer_start(&timer, callback, longMilliSeconds + 500, 0);
        uv_timer_stop(&timer);
    }
    for (auto& one : armed) uv_close(reinterpret_cast<uv_handle_t*>(one.get()), nullptr);
    uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
}
BENCHMARK(BM_UvTimerStartStop)->Arg(1)->Arg(1'000)->Arg(10'000)->Arg(100'000);

// From the start of a timer without delay to the first line of its callback, and back.
struct PingPong {
    void answer(unsigned long) { answered.post(); }
    CSemaphore answered;
};

void BM_TimerHandOff(benchmark::State& state) {
    PingPong pingPong;
    CTimer timer("hand-off");
    for (auto _ : state) {
        while (!timer.start({&PingPong::answer, &pingPong}, 0, 0, 0, 0)) std::this_thread::yield();
        pingPong.answered.pend();
    }
    timer.stopAndWait();
}
BENCHMARK(BM_TimerHandOff)->UseRealTime();

void BM_SemaphorePingPong(benchmark::State& state) {
    CSemaphore asked;
    CSemaphore answered;
    std::atomic<bool> stops{false};
    std::thread other([&] {
        for (asked.pend(); !stops; asked.pend()) answered.post();
    });
    for (auto _ : state) {
        asked.post();
        answered.pend();
    }
    stops = true;
    asked.post();
    other.join();
}
BENCHMARK(BM_SemaphorePingPong)->UseRealTime();

// How much later than its grid a periodic timer calls; the counters are in milliseconds.
struct Lateness {
    void note(unsigned long period) {
        const auto now = Clock::now();
        if (times.empty()) first = now;
        // The nearest point of the grid: a call that was skipped makes the others no later.
        const std::chrono::duration<double, std::milli> elapsed = now - first;
        times.push_back(std::remainder(elapsed.count(), static_cast<double>(period)));
        called.post();
    }
    Clock::time_point first;
    std::vector<double> times;
    CSemaphore called;
};

void BM_TimerLateness(benchmark::State& state) {
    Lateness lateness;
    CTimer timer("late");
    const auto period = static_cast<unsigned int>(state.range(0));
    const auto calls = 2'000 / period;
    for (auto _ : state) {
        lateness.times.clear();
        timer.start({&Lateness::note, &lateness}, period, period, period, 0);
        for (unsigned int i = 0; i < calls; ++i) lateness.called.pend();
        timer.stopAndWait();
    }
    // As against the earliest call: the first one may itself have been late.
    std::vector<double> times = lateness.times;
    std::sort(times.begin(), times.end());
    double sum = 0;
    for (const double time : times) sum += time - times.front();
    state.counters["mean_ms"] = sum / static_cast<double>(times.size());
    state.counters["p99_ms"] = times[times.size() * 99 / 100] - times.front();
}
BENCHMARK(BM_TimerLateness)->Arg(10)->Arg(100)->Iterations(1)->UseRealTime();

}  // namespace
