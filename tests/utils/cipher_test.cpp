// The ciphers against a peer: any mode, key, length, split and direction, in place and not.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "utils/aes/aeskernels.h"
#include "vesko/utils/aes.h"
#include "vesko/utils/tripledes.h"

namespace Tovra::Utils {

namespace {

using Testing::expectLines;
using Testing::printed;

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

class Random {
public:
    std::string bytes(std::size_t size) {
        std::string text(size, '\0');
        for (char& byte : text) byte = static_cast<char>(m_engine());
        return text;
    }
    std::size_t below(std::size_t limit) { return m_engine() % limit; }

private:
    std::mt19937 m_engine{1};
};

std::string peerResult(const EVP_CIPHER* cipher, const std::string& key, const std::string& iv,
                       bool encrypts, const std::string& text) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    EXPECT_EQ(EVP_CipherInit_ex(context.get(), cipher, nullptr, bytesOf(key), bytesOf(iv),
                                encrypts ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    std::string result(text.size() + 32, '\0');
    int length = 0;
    EXPECT_EQ(EVP_CipherUpdate(context.get(), bytesOf(result), &length, bytesOf(text),
                               static_cast<int>(text.size())),
              1);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

template <class Cipher>
bool run(Cipher& cipher, bool encrypts, char* to, const char* from, std::size_t size) {
    auto* const dst = reinterpret_cast<unsigned char*>(to);
    const auto* const src = reinterpret_cast<const unsigned char*>(from);
    const auto length = static_cast<unsigned int>(size);
    return encrypts ? cipher.encrypt(dst, src, length) : cipher.decrypt(dst, src, length);
}

struct Mode {
    EncMode mode;
    std::size_t unit;  // what lengths are a multiple of
    const EVP_CIPHER* (*peers[3])();
};
constexpr Mode s_modes[] = {
    {modeECB, 16, {EVP_aes_128_ecb, EVP_aes_192_ecb, EVP_aes_256_ecb}},
    {modeCBC, 16, {EVP_aes_128_cbc, EVP_aes_192_cbc, EVP_aes_256_cbc}},
    {modeCFB8, 1, {EVP_aes_128_cfb8, EVP_aes_192_cfb8, EVP_aes_256_cfb8}},
    {modeCFB128, 1, {EVP_aes_128_cfb128, EVP_aes_192_cfb128, EVP_aes_256_cfb128}},
    {modeCTR, 1, {EVP_aes_128_ctr, EVP_aes_192_ctr, EVP_aes_256_ctr}}};

TEST(Aes, GivesTheResultsOfThePeerInAnySplit) {
    Random random;
    for (int round = 0; round < 1500; ++round) {
        const Mode& mode = s_modes[random.below(5)];
        const std::size_t strength = random.below(3);
        const bool encrypts = random.below(2) == 0;
        const std::string key = random.bytes(16 + 8 * strength);
        std::string iv = random.bytes(16);
        if (random.below(2) == 0) iv.replace(1, 15, 15, '\xff');  // a counter that carries far
        if (random.below(4) == 0) iv.assign(16, '\0');
        const bool isZero = iv == std::string(16, '\0');
        const std::string text = random.bytes(mode.unit * random.below(1200 / mode.unit));
        SCOPED_TRACE(testing::Message() << "mode " << mode.mode << ", " << key.size()
                                        << " bytes of key, " << text.size() << " of text");

        CAes cipher(mode.mode, bytesOf(key), static_cast<KeyBits>(8 * key.size()),
                    isZero ? nullptr : bytesOf(iv));
        const bool isInPlace = random.below(2) == 0;
        std::string result = isInPlace ? text : std::string(text.size(), '#');
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t most = (text.size() - at) / mode.unit;
            const std::size_t piece = mode.unit * std::min(most, random.below(600 / mode.unit));
            const char* const from = (isInPlace ? result : text).data() + at;
            ASSERT_TRUE(run(cipher, encrypts, result.data() + at, from, piece));
            at += piece;
        }
        ASSERT_EQ(result, peerResult(mode.peers[strength](), key, iv, encrypts, text));
    }
}

TEST(Aes, RefusesBrokenBlocksAndLeavesTheStreamAlone) {
    const std::string key(16, 'k');
    for (const EncMode mode : {modeECB, modeCBC}) {
        CAes refused(mode, bytesOf(key), bits128, nullptr);
        CAes plain(mode, bytesOf(key), bits128, nullptr);
        std::string text(32, 't');
        EXPECT_EQ(
            printed(6,
                    [&] {
                        for (const unsigned int length : {1U, 15U, 17U, 31U}) {
                            EXPECT_FALSE(refused.encrypt(bytesOf(text), bytesOf(text), length));
                            EXPECT_FALSE(refused.decrypt(bytesOf(text), bytesOf(text), length));
                        }
                        EXPECT_TRUE(refused.encrypt(nullptr, nullptr, 0));
                    }),
            "");
        EXPECT_EQ(text, std::string(32, 't'));
        std::string expected = text;
        EXPECT_TRUE(refused.encrypt(bytesOf(text), bytesOf(text), 32));
        EXPECT_TRUE(plain.encrypt(bytesOf(expected), bytesOf(expected), 32));
        EXPECT_EQ(text, expected);
    }
}

TEST(Aes, TellsOfAKeyThatIsMissingAndOfWorkWithoutOne) {
    const std::string key(32, 'k');
    const std::pair<EncMode, const char*> missing[] = {{modeECB, "AesECB key is NULL\n"},
                                                       {modeCBC, "AesCBC key is NULL\n"},
                                                       {modeCFB8, "AesCFB8 key is NULL\n"},
                                                       {modeCFB128, "AesCFB128 key is NULL\n"},
                                                       {modeCTR, "AesCTR key is NULL\n"}};
    std::string text(16, 't');
    const auto expectRefusal = [&](EncMode mode, const unsigned char* itsKey, int bits,
                                   const std::string& complaint) {
        EXPECT_EQ(printed(2,
                          [&] {
                              CAes cipher(mode, itsKey, static_cast<KeyBits>(bits), nullptr);
                              EXPECT_FALSE(cipher.encrypt(bytesOf(text), bytesOf(text), 16));
                              EXPECT_FALSE(cipher.decrypt(bytesOf(text), bytesOf(text), 0));
                          }),
                  complaint + "aes init failed.\naes init failed.\n");
        EXPECT_EQ(text, std::string(16, 't'));
    };
    for (const auto& [mode, complaint] : missing) {
        expectRefusal(mode, nullptr, 128, complaint);
        expectRefusal(mode, bytesOf(key), 100, "");
    }
    expectRefusal(static_cast<EncMode>(5), bytesOf(key), 128, "");
    expectRefusal(static_cast<EncMode>(-1), nullptr, 128, "");
}

TEST(AesKey, IsWipedAtItsEnd) {
    alignas(AesKey) unsigned char memory[sizeof(AesKey)];
    auto* const key = new (memory) AesKey;
    ASSERT_TRUE(key->setForward(bytesOf(std::string(32, 'k')), 256));
    const volatile unsigned char* const left = reinterpret_cast<unsigned char*>(key->words);
    EXPECT_EQ(left[0], 'k');
    key->~AesKey();
    for (std::size_t i = 0; i < sizeof(key->words); ++i) ASSERT_EQ(left[i], 0) << i;
}

TEST(AesKernels, AgreeOnRandomBlocks) {
    Random random;
    for (const int bits : {128, 192, 256}) {
        const std::string secret = random.bytes(32);
        AesKey forward;
        AesKey backward;
        ASSERT_TRUE(forward.setForward(bytesOf(secret), bits));
        ASSERT_TRUE(backward.setBackward(bytesOf(secret), bits));
        for (std::size_t count = 0; count < 20; ++count) {
            const std::string text = random.bytes(16 * count);
            std::string cipher(text.size(), '\0');
            aesEncryptPortable(forward, bytesOf(cipher), bytesOf(text), count);
            const auto expectSame = [&](const auto& kernels, const AesKey& key,
                                        const std::string& from, const std::string& expected) {
                for (const auto& kernel : kernels) {
                    if (!kernel.isUsable()) continue;
                    std::string result = from;
                    kernel.run(key, bytesOf(result), bytesOf(result), count);
                    ASSERT_EQ(result, expected) << kernel.name;
                }
            };
            expectSame(aesEncryptKernels(), forward, text, cipher);
            expectSame(aesDecryptKernels(), backward, cipher, text);
        }
    }
}

// The key as the peer wants it for three keys: what a shorter one stands for, filled up.
std::string asThreeKeys(std::string key) {
    const std::size_t keys = key.size() <= 8 ? 1 : key.size() <= 16 ? 2 : 3;
    key.resize(8 * keys, '\0');
    if (keys == 1) key += key + key;
    if (keys == 2) key += key.substr(0, 8);
    return key.substr(0, 24);
}

// The double block, told by passes of the peer; each direction of a pass is its own.
std::string doubleBlock(const std::string& keys, bool encrypts, std::string block) {
    for (int pass = 0; pass < 3; ++pass) {
        const auto which = static_cast<std::size_t>(encrypts ? pass : 2 - pass);
        const std::string key = keys.substr(8 * which, 8);
        const bool isForward = encrypts == (pass != 1);
        block = peerResult(EVP_des_ede3_ecb(), key + key + key, "", isForward, block);
        if (pass < 2) std::swap_ranges(&block[4], &block[8], &block[8]);
    }
    return block;
}

std::string expectedDes(const std::string& key, bool isDouble, const std::string& iv, bool encrypts,
                        const std::string& text) {
    const std::string keys = asThreeKeys(key);
    if (!isDouble) {
        const EVP_CIPHER* const peer = iv.empty() ? EVP_des_ede3_ecb() : EVP_des_ede3_cbc();
        return peerResult(peer, keys, iv, encrypts, text.substr(0, text.size() / 8 * 8));
    }
    std::string result;
    std::string chain = iv;
    const auto combine = [&](std::string block) {
        for (std::size_t i = 0; i < chain.size(); ++i) block[i] ^= chain[i];
        return block;
    };
    for (std::size_t at = 0; at + 16 <= text.size(); at += 16) {
        const std::string block = text.substr(at, 16);
        const std::string done = encrypts ? doubleBlock(keys, true, combine(block))
                                          : combine(doubleBlock(keys, false, block));
        if (!iv.empty()) chain = encrypts ? done : block;
        result += done;
    }
    return result;
}

TEST(TripleDes, GivesTheResultsOfThePeerOnAnyKey) {
    Random random;
    const std::string source = "src/utils/tripledes.cpp";
    for (int round = 0; round < 1500; ++round) {
        const std::string key = random.bytes(1 + random.below(31));
        const bool isDouble = random.below(2) == 0;
        const std::size_t block = isDouble && key.size() > 8 ? 16 : 8;
        const std::string iv = random.below(2) == 0 ? "" : random.bytes(block);
        const bool encrypts = random.below(2) == 0;
        const std::string text = random.bytes(random.below(100));
        const std::size_t whole = text.size() / block * block;
        const bool isInPlace = encrypts && random.below(2) == 0;
        SCOPED_TRACE(testing::Message() << key.size() << " bytes of key, " << text.size()
                                        << " of text, double " << isDouble);

        CTripleDes cipher(bytesOf(key), static_cast<unsigned int>(key.size()),
                          isDouble ? block16 : block8, iv.empty() ? nullptr : bytesOf(iv));
        std::string expected = expectedDes(key, block == 16, iv, encrypts, text);
        for (int again = 0; again < 2; ++again) {  // nothing carries over
            std::string result = isInPlace ? text : std::string(text.size(), '#');
            const char* const from = (isInPlace ? result : text).data();
            const std::string tail = result.substr(whole);
            const std::string log = printed(2, [&] {
                ASSERT_EQ(run(cipher, encrypts, result.data(), from, text.size()),
                          whole == text.size());
            });
            ASSERT_EQ(result, expected + tail);
            std::vector<std::string> messages;
            if (whole != text.size()) {
                messages.push_back(
                    std::string("<object> CTripleDes::encrypt(): size is not the multiple of ") +
                    (encrypts ? "the" : "th") + " 'BlockSize'!!! size(" +
                    std::to_string(text.size()) + "), real_size(" + std::to_string(whole) + ")");
            }
            expectLines(log, source, messages);
        }
    }
}

TEST(TripleDes, RefusesWorkWithoutKeyOrBuffers) {
    std::string text(16, 't');
    unsigned char* const bytes = bytesOf(text);
    const std::string log = printed(2, [&] {
        CTripleDes empty(nullptr, 0, block16, nullptr);
        EXPECT_FALSE(empty.encrypt(bytes, bytes, 16));
        EXPECT_FALSE(empty.decrypt(nullptr, nullptr, 0));
        CTripleDes cipher(bytes, 8, block16, nullptr);
        EXPECT_TRUE(cipher.encrypt(nullptr, bytes, 16));
        EXPECT_TRUE(cipher.decrypt(bytes, nullptr, 8));
        EXPECT_FALSE(cipher.decrypt(nullptr, nullptr, 9));
        EXPECT_TRUE(cipher.encrypt(bytes, bytes, 0));
    });
    EXPECT_EQ(text, std::string(16, 't'));
    expectLines(log, "src/utils/tripledes.cpp",
                {"<object> key_length is 0,is unvalid!", "<object> key_length is 0,is unvalid!",
                 "en_de_crypt(): dst is NULL!!", "en_de_crypt(): src is NULL!!",
                 "<object> CTripleDes::encrypt(): size is not the multiple of th 'BlockSize'!!! "
                 "size(9), real_size(8)",
                 "en_de_crypt(): src is NULL!!"});
}

}  // namespace

}  // namespace Tovra::Utils
