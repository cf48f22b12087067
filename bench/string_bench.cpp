#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "vesko/vesko3/string.h"

namespace {
using Tovra::Vesko::CString;

std::string textOf(const benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

template <class String>
void construct(benchmark::State& state) {
    const std::string text = textOf(state);
    const char* source = text.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(source);
        String made(source);
        benchmark::DoNotOptimize(made);
    }
}

template <class String>
void copy(benchmark::State& state) {
    const String source(textOf(state));
    for (auto _ : state) {
        String made(source);
        benchmark::DoNotOptimize(made);
    }
}

template <class String>
void assign(benchmark::State& state) {
    const String source(textOf(state));
    String target;
    for (auto _ : state) {
        target = source;
        benchmark::DoNotOptimize(target);
    }
}

// The whole text is appended to an empty string in pieces of up to 8 characters.
template <class String>
void append(benchmark::State& state) {
    const std::string text = textOf(state);
    const char* source = text.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(source);
        String made;
        for (std::size_t at = 0; at < text.size(); at += 8) {
            made.append(source + at, std::min<std::size_t>(8, text.size() - at));
        }
        benchmark::DoNotOptimize(made);
    }
}

// The same with the room reserved.
template <class String>
void appendReserved(benchmark::State& state) {
    const std::string text = textOf(state);
    const char* source = text.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(source);
        String made;
        made.reserve(text.size());
        for (std::size_t at = 0; at < text.size(); at += 8) {
            made.append(source + at, std::min<std::size_t>(8, text.size() - at));
        }
        benchmark::DoNotOptimize(made);
    }
}

template <class String>
void concatenate(benchmark::State& state) {
    const String left(textOf(state));
    for (auto _ : state) {
        String made = left + ": tail";
        benchmark::DoNotOptimize(made.c_str());
    }
}

template <class String>
void pushBack(benchmark::State& state) {
    for (auto _ : state) {
        String made;
        made.reserve(static_cast<std::size_t>(state.range(0)));
        for (auto left = state.range(0); left > 0; --left) made.push_back('x');
        benchmark::DoNotOptimize(made);
    }
}

template <class String>
void sumByIndex(benchmark::State& state) {
    const String source(textOf(state));
    for (auto _ : state) {
        unsigned sum = 0;
        for (std::size_t at = 0; at < source.size(); ++at) {
            sum += static_cast<unsigned char>(source[at]);
        }
        benchmark::DoNotOptimize(sum);
    }
}

void lengths(benchmark::internal::Benchmark* bench) { bench->Arg(5)->Arg(31)->Arg(100); }

BENCHMARK(construct<CString>)->Name("BM_CStringConstruct")->Apply(lengths);
BENCHMARK(construct<std::string>)->Name("BM_StdStringConstruct")->Apply(lengths);
BENCHMARK(copy<CString>)->Name("BM_CStringCopy")->Apply(lengths);
BENCHMARK(copy<std::string>)->Name("BM_StdStringCopy")->Apply(lengths);
BENCHMARK(assign<CString>)->Name("BM_CStringAssign")->Apply(lengths);
BENCHMARK(assign<std::string>)->Name("BM_StdStringAssign")->Apply(lengths);
BENCHMARK(append<CString>)->Name("BM_CStringAppend")->Apply(lengths);
BENCHMARK(append<std::string>)->Name("BM_StdStringAppend")->Apply(lengths);
BENCHMARK(appendReserved<CString>)->Name("BM_CStringAppendReserved")->Apply(lengths);
BENCHMARK(appendReserved<std::string>)->Name("BM_StdStringAppendReserved")->Apply(lengths);
BENCHMARK(concatenate<CString>)->Name("BM_CStringConcatenate")->Apply(lengths);
BENCHMARK(concatenate<std::string>)->Name("BM_StdStringConcatenate")->Apply(lengths);
BENCHMARK(pushBack<CString>)->Name("BM_CStringPushBack")->Apply(lengths);
BENCHMARK(pushBack<std::string>)->Name("BM_StdStringPushBack")->Apply(lengths);
BENCHMARK(sumByIndex<CString>)->Name("BM_CStringSumByIndex")->Apply(lengths);
BENCHMARK(sumByIndex<std::string>)->Name("BM_StdStringSumByIndex")->Apply(lengths);
}  // namespace
