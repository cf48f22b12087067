#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <memory>
#include <string>

#include "vesko/utils/aes.h"
#include "vesko/utils/tripledes.h"

namespace {

using namespace Tovra::Utils;

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

std::string s_key(32, 'k');
std::string s_vector(16, 'v');

void sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : {64, 1024, 64 * 1024, 1024 * 1024}) bench->Arg(size);
}

template <class Cipher>
void run(benchmark::State& state, Cipher& cipher, bool encrypts) {
    std::string text(static_cast<std::size_t>(state.range(0)), 't');
    std::string result(text.size(), '\0');
    const auto length = static_cast<unsigned int>(text.size());
    for (auto _ : state) {
        if (encrypts) {
            cipher.encrypt(bytesOf(result), bytesOf(text), length);
        } else {
            cipher.decrypt(bytesOf(result), bytesOf(text), length);
        }
        benchmark::DoNotOptimize(result.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

// The peer keeps its context from call to call, as our objects do.
class Peer {
public:
    Peer(const EVP_CIPHER* cipher, bool encrypts)
        : m_context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free) {
        EVP_CipherInit_ex(m_context.get(), cipher, nullptr, bytesOf(s_key), bytesOf(s_vector),
                          encrypts ? 1 : 0);
        EVP_CIPHER_CTX_set_padding(m_context.get(), 0);
    }
    void encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
        int written = 0;
        EVP_CipherUpdate(m_context.get(), dst, &written, src, static_cast<int>(length));
    }
    void decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
        encrypt(dst, src, length);
    }

private:
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> m_context;
};

template <EncMode mode, bool encrypts>
void BM_Aes128(benchmark::State& state) {
    CAes cipher(mode, bytesOf(s_key), bits128, bytesOf(s_vector));
    run(state, cipher, encrypts);
}

template <auto peer, bool encrypts>
void BM_OpensslCipher(benchmark::State& state) {
    Peer cipher(peer(), encrypts);
    run(state, cipher, encrypts);
}

BENCHMARK(BM_Aes128<modeECB, true>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_ecb, true>)->Apply(sizes);
BENCHMARK(BM_Aes128<modeCBC, true>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_cbc, true>)->Apply(sizes);
BENCHMARK(BM_Aes128<modeCBC, false>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_cbc, false>)->Apply(sizes);
BENCHMARK(BM_Aes128<modeCFB8, true>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_cfb8, true>)->Apply(sizes);
BENCHMARK(BM_Aes128<modeCFB128, true>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_cfb128, true>)->Apply(sizes);
BENCHMARK(BM_Aes128<modeCTR, true>)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_aes_128_ctr, true>)->Apply(sizes);

void BM_TripleDesCbc(benchmark::State& state) {
    CTripleDes cipher(bytesOf(s_key), 24, block8, bytesOf(s_vector));
    run(state, cipher, true);
}
BENCHMARK(BM_TripleDesCbc)->Apply(sizes);
BENCHMARK(BM_OpensslCipher<EVP_des_ede3_cbc, true>)->Apply(sizes);

}  // namespace
