#include <benchmark/benchmark.h>
#include <iconv.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "vesko/utils/base64.h"
#include "vesko/utils/charset.h"

namespace {

using namespace Tovra::Utils;

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

void sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : {64, 1024, 64 * 1024, 1024 * 1024}) bench->Arg(size);
}

void countBytes(benchmark::State& state, const std::string& source) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(source.size()));
}

void BM_Base64Encode(benchmark::State& state) {
    const std::string data(static_cast<std::size_t>(state.range(0)), 'd');
    std::string text(data.size() * 2, '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            base64Encode(text.data(), data.data(), static_cast<int>(data.size())));
    }
    countBytes(state, data);
}
BENCHMARK(BM_Base64Encode)->Apply(sizes);

void BM_OpensslBase64Encode(benchmark::State& state) {
    std::string data(static_cast<std::size_t>(state.range(0)), 'd');
    std::string text(data.size() * 2, '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            EVP_EncodeBlock(bytesOf(text), bytesOf(data), static_cast<int>(data.size())));
    }
    countBytes(state, data);
}
BENCHMARK(BM_OpensslBase64Encode)->Apply(sizes);

void BM_Base64Decode(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'A');
    std::string data(text.size(), '\0');
    for (auto _ : state) benchmark::DoNotOptimize(base64Decode(data.data(), text.c_str()));
    countBytes(state, text);
}
BENCHMARK(BM_Base64Decode)->Apply(sizes);

void BM_OpensslBase64Decode(benchmark::State& state) {
    std::string text(static_cast<std::size_t>(state.range(0)), 'A');
    std::string data(text.size(), '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            EVP_DecodeBlock(bytesOf(data), bytesOf(text), static_cast<int>(text.size())));
    }
    countBytes(state, text);
}
BENCHMARK(BM_OpensslBase64Decode)->Apply(sizes);

// As texts are: mostly characters of two bytes, with some of one.
std::string chinese(std::int64_t size) {
    std::string text;
    for (int i = 0; text.size() + 2 <= static_cast<std::size_t>(size); ++i) {
        if (i % 8 == 0) {
            text += ' ';
            continue;
        }
        text += static_cast<char>(0xB0 + i * 7 % 0x27);  // below a few codes that are undefined
        text += static_cast<char>(0xA1 + i * 13 % 0x5D);
    }
    return text;
}

std::string utf8Of(std::string text) {
    std::string utf8(text.size() * 2, '\0');
    utf8.resize(static_cast<std::size_t>(
        Gb2312TUtf8(text.data(), bytesOf(utf8), static_cast<int>(utf8.size()))));
    return utf8;
}

void runIconv(benchmark::State& state, const char* to, const char* from, std::string source) {
    const iconv_t converter = ::iconv_open(to, from);
    std::string result(source.size() * 4 + 8, '\0');
    for (auto _ : state) {
        char* in = source.data();
        char* out = result.data();
        std::size_t left = source.size();
        std::size_t room = result.size();
        if (::iconv(converter, &in, &left, &out, &room) != 0) state.SkipWithError("not converted");
        benchmark::DoNotOptimize(out);
    }
    ::iconv_close(converter);
    countBytes(state, source);
}

void BM_ChineseToUtf8(benchmark::State& state) {
    std::string text = chinese(state.range(0));
    std::string utf8(text.size() * 2, '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Gb2312TUtf8(text.data(), bytesOf(utf8), static_cast<int>(utf8.size())));
    }
    countBytes(state, text);
}
BENCHMARK(BM_ChineseToUtf8)->Apply(sizes);

void BM_IconvChineseToUtf8(benchmark::State& state) {
    runIconv(state, "UTF-8", "CP936", chinese(state.range(0)));
}
BENCHMARK(BM_IconvChineseToUtf8)->Apply(sizes);

void BM_Utf8ToChinese(benchmark::State& state) {
    std::string utf8 = utf8Of(chinese(state.range(0)));
    std::string text(utf8.size() + 1, '\0');
    const int size = static_cast<int>(utf8.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(utf8TGb2312(bytesOf(utf8), text.data(), size, size));
    }
    countBytes(state, utf8);
}
BENCHMARK(BM_Utf8ToChinese)->Apply(sizes);

void BM_IconvUtf8ToChinese(benchmark::State& state) {
    runIconv(state, "CP936", "UTF-8", utf8Of(chinese(state.range(0))));
}
BENCHMARK(BM_IconvUtf8ToChinese)->Apply(sizes);

std::string cyrillic(std::int64_t size) {
    std::string text(static_cast<std::size_t>(size), ' ');
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 6 != 0) text[i] = static_cast<char>(0xC0 + i % 64);
    }
    return text;
}

void BM_CyrillicToUtf8(benchmark::State& state) {
    std::string text = cyrillic(state.range(0));
    std::string utf8(text.size() * 2, '\0');
    for (auto _ : state) {
        int room = static_cast<int>(utf8.size());
        int size = static_cast<int>(text.size());
        cp1251_to_utf8(bytesOf(utf8), room, bytesOf(text), size);
        benchmark::DoNotOptimize(room);
    }
    countBytes(state, text);
}
BENCHMARK(BM_CyrillicToUtf8)->Apply(sizes);

void BM_IconvCyrillicToUtf8(benchmark::State& state) {
    runIconv(state, "UTF-8", "CP1251", cyrillic(state.range(0)));
}
BENCHMARK(BM_IconvCyrillicToUtf8)->Apply(sizes);

}  // namespace
