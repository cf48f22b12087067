#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "vesko/vesko3/file.h"

namespace {

using Tovra::Vesko::CFile;

constexpr unsigned int pieceBytes = 4096;
constexpr int pieceCount = 1024;

// A file of its own, small enough to stay in memory.
class ScratchFile {
public:
    ScratchFile() {
        const int descriptor = ::mkstemp(m_path.data());
        if (descriptor < 0) std::abort();
        std::FILE* file = ::fdopen(descriptor, "wb");
        const std::string piece(pieceBytes, 'x');
        for (int i = 0; i < pieceCount; ++i) std::fwrite(piece.data(), 1, piece.size(), file);
        std::fclose(file);
    }
    ~ScratchFile() { std::remove(m_path.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const char* path() const { return m_path.c_str(); }

private:
    std::string m_path = "/tmp/vesko-bench-XXXXXX";
};

char s_piece[pieceBytes];

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * pieceCount * std::int64_t{pieceBytes});
}

void BM_FileRead4K(benchmark::State& state) {
    const ScratchFile scratch;
    for (auto _ : state) {
        CFile file;
        file.open(scratch.path(), CFile::accessRead);
        while (file.read(s_piece, pieceBytes) == pieceBytes) benchmark::DoNotOptimize(s_piece);
    }
    countBytes(state);
}
BENCHMARK(BM_FileRead4K);

void BM_StdioRead4K(benchmark::State& state) {
    const ScratchFile scratch;
    for (auto _ : state) {
        std::FILE* file = std::fopen(scratch.path(), "rb");
        while (std::fread(s_piece, 1, pieceBytes, file) == pieceBytes) {
            benchmark::DoNotOptimize(s_piece);
        }
        std::fclose(file);
    }
    countBytes(state);
}
BENCHMARK(BM_StdioRead4K);

void BM_FileWrite4K(benchmark::State& state) {
    const ScratchFile scratch;
    for (auto _ : state) {
        CFile file;
        file.open(scratch.path(), CFile::accessWrite);
        for (int i = 0; i < pieceCount; ++i) file.write(s_piece, pieceBytes);
    }
    countBytes(state);
}
BENCHMARK(BM_FileWrite4K);

void BM_StdioWrite4K(benchmark::State& state) {
    const ScratchFile scratch;
    for (auto _ : state) {
        std::FILE* file = std::fopen(scratch.path(), "wb");
        for (int i = 0; i < pieceCount; ++i) std::fwrite(s_piece, 1, pieceBytes, file);
        std::fclose(file);
    }
    countBytes(state);
}
BENCHMARK(BM_StdioWrite4K);

}  // namespace
