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
#include "support/crowd.h"
#include "support/lines.h"
#include "utils/aes/aeskernels.h"
#include "vesko/utils/aes.h"
#include "vesko/utils/tripledes.h"

namespace {

using namespace Tovra::Utils;
using Tovra::Testing::expectLines;
using Tovra::Testing::printed;

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

std::mt19937 s_random(1);

std::size_t below(std::size_t limit) { return s_random() % limit; }
std::string randomBytes(std::size_t size) {
    std::string text(size, '\0');
    for (char& byte : text) byte = static_cast<char>(s_random());
    return text;
}

std::string peerResult(const EVP_CIPHER* cipher, const std::string& key, const std::string& iv,
                       bool encrypts, const std::string& text) {
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(context, cipher, nullptr, bytesOf(key), bytesOf(iv), encrypts ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context, 0);
    std::string result(text.size() + 32, '\0');
    int length = 0;
    const int size = static_cast<int>(text.size());
    EXPECT_EQ(EVP_CipherUpdate(context, bytesOf(result), &length, bytesOf(text), size), 1);
    EVP_CIPHER_CTX_free(context);
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

constexpr const char* s_modes[] = {"ECB", "CBC", "CFB8", "CFB128", "CTR"};  // by EncMode

TEST(Aes, GivesTheResultsOfThePeerInAnySplitAndRefusesBrokenBlocks) {
    for (int round = 0; round < 1500; ++round) {
        const std::size_t which = below(5);
        const std::size_t unit = which < 2 ? 16 : 1;  // what lengths are a multiple of
        const bool encrypts = below(2) == 0;
        const std::string key = randomBytes(16 + 8 * below(3));
        std::string iv = randomBytes(16);
        if (below(2) == 0) iv.replace(1, 15, 15, '\xff');  // a counter that carries far
        if (below(4) == 0) iv.assign(16, '\0');
        const std::string text = randomBytes(unit * below(1200 / unit));
        const std::string peer =
            "AES-" + std::to_string(8 * key.size()) + '-' + (which == 3 ? "CFB" : s_modes[which]);
        SCOPED_TRACE(peer);
        CAes cipher(static_cast<EncMode>(which), bytesOf(key), static_cast<KeyBits>(8 * key.size()),
                    iv == std::string(16, '\0') ? nullptr : bytesOf(iv));
        const bool isInPlace = below(2) == 0;
        std::string result = isInPlace ? text : std::string(text.size(), '#');
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t most = (text.size() - at) / unit;
            const std::size_t piece = unit * std::min(most, below(600 / unit));
            const char* const from = (isInPlace ? result : text).data() + at;
            const std::size_t broken = 16 * below(3) + 1 + below(15);
            ASSERT_FALSE(unit > 1 && run(cipher, encrypts, result.data() + at, from, broken));
            ASSERT_TRUE(run(cipher, encrypts, result.data() + at, from, piece));
            at += piece;
        }
        ASSERT_EQ(result, peerResult(EVP_get_cipherbyname(peer.c_str()), key, iv, encrypts, text));
    }
}

TEST(Aes, TellsOfAKeyThatIsMissingAndOfWorkWithoutOne) {
    std::string text(16, 't');
    for (int mode = 0; mode <= 5; ++mode) {
        const auto work = [&] {
            CAes cipher(static_cast<EncMode>(mode), nullptr, static_cast<KeyBits>(128), nullptr);
            EXPECT_FALSE(cipher.encrypt(bytesOf(text), bytesOf(text), 16));
            EXPECT_FALSE(cipher.decrypt(bytesOf(text), bytesOf(text), 0));
        };
        std::string told = "aes init failed.\naes init failed.\n";
        if (mode < 5) told = std::string("Aes") + s_modes[mode] + " key is NULL\n" + told;
        EXPECT_EQ(printed(2, work), told);
    }
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
    for (const int bits : {128, 192, 256}) {
        const std::string secret = randomBytes(32);
        AesKey forward;
        AesKey backward;
        ASSERT_TRUE(forward.setForward(bytesOf(secret), bits));
        ASSERT_TRUE(backward.setBackward(bytesOf(secret), bits));
        for (std::size_t count = 0; count < 20; ++count) {
            const std::string text = randomBytes(16 * count);
            std::string cipher(text.size(), '\0');
            aesEncryptPortable(forward, bytesOf(cipher), bytesOf(text), count);
            const auto expectSame = [count](const auto& kernel, const AesKey& key, std::string from,
                                            const std::string& expected) {
                if (!kernel.isUsable()) return;
                kernel.run(key, bytesOf(from), bytesOf(from), count);
                EXPECT_EQ(from, expected) << kernel.name;
            };
            for (const auto& one : aesEncryptKernels()) expectSame(one, forward, text, cipher);
            for (const auto& one : aesDecryptKernels()) expectSame(one, backward, cipher, text);
        }
    }
}

// The key as the peer wants it for three keys: what a shorter one stands for, filled up.
std::string asThreeKeys(std::string key) {
    key.resize(key.size() <= 8 ? 8 : key.size() <= 16 ? 16 : 24, '\0');
    return (key + key + key).substr(0, 24);
}

// The double block, told by passes of the peer; each direction of a pass is its own.
std::string doubleBlock(const std::string& keys, bool encrypts, std::string block) {
    for (int pass = 0; pass < 3; ++pass) {
        const auto which = static_cast<std::size_t>(encrypts ? pass : 2 - pass);
        const std::string key = keys.substr(8 * which, 8);
        block = peerResult(EVP_des_ede3_ecb(), key + key + key, "", encrypts == (pass != 1), block);
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
    for (std::size_t at = 0; at + 16 <= text.size(); at += 16) {
        std::string block = text.substr(at, 16);
        const auto combine = [&] {
            for (std::size_t i = 0; i < chain.size(); ++i) block[i] ^= chain[i];
        };
        if (encrypts) combine();
        block = doubleBlock(keys, encrypts, block);
        if (!encrypts) combine();
        if (!iv.empty()) chain = encrypts ? block : text.substr(at, 16);
        result += block;
    }
    return result;
}

TEST(TripleDes, GivesTheResultsOfThePeerOnAnyKey) {
    for (int round = 0; round < 1500; ++round) {
        const std::string key = randomBytes(1 + below(31));
        const bool isDouble = below(2) == 0;
        const std::size_t block = isDouble && key.size() > 8 ? 16 : 8;
        const std::string iv = below(2) == 0 ? "" : randomBytes(block);
        const bool encrypts = below(2) == 0;
        const std::string text = randomBytes(below(100));
        const std::size_t whole = text.size() / block * block;
        const bool isInPlace = encrypts && below(2) == 0;
        SCOPED_TRACE(testing::Message() << key.size() << " bytes of key, double " << isDouble);

        CTripleDes cipher(bytesOf(key), static_cast<unsigned int>(key.size()),
                          isDouble ? block16 : block8, iv.empty() ? nullptr : bytesOf(iv));
        const std::string expected = expectedDes(key, block == 16, iv, encrypts, text);
        for (int again = 0; again < 2; ++again) {  // nothing carries over
            std::string result = isInPlace ? text : std::string(text.size(), '#');
            const char* const from = (isInPlace ? result : text).data();
            const std::string tail = result.substr(whole);
            const std::string log = printed(2, [&] {
                const bool isDone = run(cipher, encrypts, result.data(), from, text.size());
                ASSERT_EQ(isDone, whole == text.size());
            });
            ASSERT_EQ(result, expected + tail);
            std::vector<std::string> messages;
            if (whole != text.size()) {
                messages = {"<object> CTripleDes::encrypt(): size is not the multiple of " +
                            std::string(encrypts ? "the" : "th") + " 'BlockSize'!!! size(" +
                            std::to_string(text.size()) + "), real_size(" + std::to_string(whole) +
                            ")"};
            }
            expectLines(log, "src/utils/tripledes.cpp", messages);
        }
    }
}

TEST(TripleDes, RefusesWorkWithoutKeyOrBuffers) {
    std::string text(16, 't');
    unsigned char* const bytes = bytesOf(text);
    const std::string log = printed(2, [&] {
        EXPECT_FALSE(CTripleDes(nullptr, 0, block16, nullptr).encrypt(bytes, bytes, 16));
        CTripleDes cipher(bytes, 8, block16, nullptr);
        EXPECT_TRUE(cipher.encrypt(nullptr, bytes, 16));
        EXPECT_TRUE(cipher.decrypt(bytes, nullptr, 8));
    });
    expectLines(log, "src/utils/tripledes.cpp",
                {"<object> key_length is 0,is unvalid!", "en_de_crypt(): dst is NULL!!",
                 "en_de_crypt(): src is NULL!!"});
}

TEST(TripleDes, KeepsItsKeysWhileOtherThreadsWorkWithTheirs) {
    Tovra::Testing::together(2, [](int number) {
        const bool encrypts = number == 0;
        const std::string key(24, static_cast<char>('k' + number));
        const std::string text(800, 't');
        CTripleDes cipher(bytesOf(key), 24, block8, nullptr);
        const std::string expected = expectedDes(key, false, "", encrypts, text);
        std::string result(text.size(), '#');
        for (int turn = 0; turn < 1'000 && !::testing::Test::HasFailure(); ++turn) {
            EXPECT_TRUE(run(cipher, encrypts, result.data(), text.data(), text.size()));
            EXPECT_EQ(result, expected) << encrypts;
        }
    });
}

}  // namespace
