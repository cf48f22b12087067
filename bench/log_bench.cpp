#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdio>

#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;

// A record that does not pass: info, where only warnings do.
void BM_LogBelowThreshold(benchmark::State& state) {
    for (auto _ : state) logInfo("value %d of %s\n", 42, "text");
}

void BM_LogFilterBelowThreshold(benchmark::State& state) {
    for (auto _ : state) {
        logFilter(4, "bench", "file", "function", 1, "1.0", "value %d of %s\n", 42, "text");
    }
}

void BM_SpdlogBelowThreshold(benchmark::State& state) {
    spdlog::logger logger("bench");
    logger.set_level(spdlog::level::warn);
    for (auto _ : state) logger.info("value {} of {}", 42, "text");
}

void BM_GlogBelowThreshold(benchmark::State& state) {
    for (auto _ : state)
        VLOG(4) << "value " << 42 << " of "
                << "text";
}

/// Standard output of this process goes elsewhere, as long as the object lives.
class RedirectedOutput {
public:
    explicit RedirectedOutput(const char* path) : m_before(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        std::FILE* target = std::fopen(path, "w");
        ::dup2(::fileno(target), STDOUT_FILENO);
        std::fclose(target);
    }
    ~RedirectedOutput() {
        std::fflush(stdout);
        ::dup2(m_before, STDOUT_FILENO);
        ::close(m_before);
    }
    RedirectedOutput(const RedirectedOutput&) = delete;
    RedirectedOutput& operator=(const RedirectedOutput&) = delete;

private:
    int m_before;
};

constexpr const char* s_nowhere = "/dev/null";
constexpr const char* s_file = "/tmp/vesko_bench.log";

// Each writes the same elements and flushes every record: time, module, version, level, file,
// function, line, thread and message.
void writeRecords(benchmark::State& state, const char* path) {
    const RedirectedOutput redirected(path);
    for (auto _ : state) {
        logFilter(3, "bench", "src/file.cpp", "function", 1, "1.0", "value %d of %s\n", 42, "text");
    }
}

void writeSpdlogRecords(benchmark::State& state, const char* path) {
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true));
    logger.set_pattern("%H:%M:%S|[%n] [ver:1.0] %l %s %! %# tid:%t %v");
    logger.flush_on(spdlog::level::warn);
    for (auto _ : state) {
        logger.log(spdlog::source_loc{"file.cpp", 1, "function"}, spdlog::level::warn,
                   "value {} of {}", 42, "text");
    }
}

void writeStdioRecords(benchmark::State& state, const char* path) {
    std::FILE* file = std::fopen(path, "w");
    for (auto _ : state) {
        std::fprintf(file, "%02d:%02d:%02d|[%s] [ver:%s] %s%s %s %d tid:%d value %d of %s\n", 12, 0,
                     0, "bench", "1.0", "warn ", "file.cpp", "function", 1, 1234, 42, "text");
        std::fflush(file);
    }
    std::fclose(file);
}

void BM_LogToNull(benchmark::State& state) { writeRecords(state, s_nowhere); }
void BM_SpdlogToNull(benchmark::State& state) { writeSpdlogRecords(state, s_nowhere); }
void BM_StdioToNull(benchmark::State& state) { writeStdioRecords(state, s_nowhere); }
void BM_LogToFile(benchmark::State& state) { writeRecords(state, s_file); }
void BM_SpdlogToFile(benchmark::State& state) { writeSpdlogRecords(state, s_file); }
void BM_StdioToFile(benchmark::State& state) { writeStdioRecords(state, s_file); }

BENCHMARK(BM_LogBelowThreshold);
BENCHMARK(BM_LogFilterBelowThreshold);
BENCHMARK(BM_SpdlogBelowThreshold);
BENCHMARK(BM_GlogBelowThreshold);
BENCHMARK(BM_LogToNull);
BENCHMARK(BM_SpdlogToNull);
BENCHMARK(BM_StdioToNull);
BENCHMARK(BM_LogToFile);
BENCHMARK(BM_SpdlogToFile);
BENCHMARK(BM_StdioToFile);

}  // namespace
