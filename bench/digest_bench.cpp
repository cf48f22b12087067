#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <vector>

#include "vesko/utils/crc.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"

// One iteration is one whole message, from its first byte to its result.
namespace {

using Bytes = std::vector<unsigned char>;

void sizes(benchmark::internal::Benchmark* bench) {
    for (const int sizeBytes : {64, 1024, 64 * 1024, 1024 * 1024}) bench->Arg(sizeBytes);
}

template <class Digest>
void run(benchmark::State& state, Digest digest) {
    const Bytes message(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state) benchmark::DoNotOptimize(digest(message));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

unsigned int lengthOf(const Bytes& message) { return static_cast<unsigned int>(message.size()); }

void BM_Md5(benchmark::State& state) {
    Tovra::Utils::CMd5 md5;
    run(state, [&md5](const Bytes& message) {
        unsigned char digest[16];
        md5.update(message.data(), lengthOf(message));
        md5.final(digest);
        return digest[0];
    });
}
BENCHMARK(BM_Md5)->Apply(sizes);

void BM_Sha1(benchmark::State& state) {
    Tovra::Utils::CSha1 sha1;
    run(state, [&sha1](const Bytes& message) {
        unsigned char digest[20];
        sha1.update(message.data(), lengthOf(message));
        sha1.final(digest, sizeof(digest));
        return digest[0];
    });
}
BENCHMARK(BM_Sha1)->Apply(sizes);

// The peer's context and algorithm are fetched once, as a program that cares for speed would.
void runOpenssl(benchmark::State& state, const char* name) {
    EVP_MD* const algorithm = EVP_MD_fetch(nullptr, name, nullptr);
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    run(state, [&](const Bytes& message) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        EVP_DigestInit_ex2(context, algorithm, nullptr);
        EVP_DigestUpdate(context, message.data(), message.size());
        EVP_DigestFinal_ex(context, digest, nullptr);
        return digest[0];
    });
    EVP_MD_CTX_free(context);
    EVP_MD_free(algorithm);
}

void BM_OpensslMd5(benchmark::State& state) { runOpenssl(state, "MD5"); }
BENCHMARK(BM_OpensslMd5)->Apply(sizes);

void BM_OpensslSha1(benchmark::State& state) { runOpenssl(state, "SHA1"); }
BENCHMARK(BM_OpensslSha1)->Apply(sizes);

void runOpensslOneShot(benchmark::State& state, const EVP_MD* algorithm) {
    run(state, [algorithm](const Bytes& message) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        EVP_Digest(message.data(), message.size(), digest, nullptr, algorithm, nullptr);
        return digest[0];
    });
}

void BM_OpensslOneShotMd5(benchmark::State& state) { runOpensslOneShot(state, EVP_md5()); }
BENCHMARK(BM_OpensslOneShotMd5)->Apply(sizes);

void BM_OpensslOneShotSha1(benchmark::State& state) { runOpensslOneShot(state, EVP_sha1()); }
BENCHMARK(BM_OpensslOneShotSha1)->Apply(sizes);

void BM_Crc32(benchmark::State& state) {
    run(state, [](const Bytes& message) {
        return Tovra::Utils::crc32(message.data(), lengthOf(message));
    });
}
BENCHMARK(BM_Crc32)->Apply(sizes);

void BM_ZlibCrc32(benchmark::State& state) {
    run(state, [](const Bytes& message) { return ::crc32(0, message.data(), lengthOf(message)); });
}
BENCHMARK(BM_ZlibCrc32)->Apply(sizes);

void BM_Crc16(benchmark::State& state) {
    run(state, [](const Bytes& message) {
        return Tovra::Utils::crc16(0, message.data(), lengthOf(message));
    });
}
BENCHMARK(BM_Crc16)->Apply(sizes);

}  // namespace
