// What every message digest promises, checked against a peer, and what each adds to it.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include "support/capture.h"
#include "utils/sha1kernels.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"

namespace Tovra::Utils {

namespace {

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

// How a digest's results are read, its peer, and what it says of bad arguments.
struct Md5 : CMd5 {
    static constexpr unsigned int sizeBytes = 16;
    // Of 512 MiB and a byte, from the peer's command line tool, like that of the other digest.
    static constexpr const char* resultOfZeros = "ea3b62c6b93cb3625a1fd76777985f5a";
    static constexpr const char* complaints[] = {"digest is NULL", "hash is NULL"};
    static const EVP_MD* peer() { return EVP_md5(); }
    void misuse(std::string&) {
        final(nullptr);
        hex(nullptr);
    }
};

struct Sha1 : CSha1 {
    static constexpr unsigned int sizeBytes = 20;
    static constexpr const char* resultOfZeros = "3e1bb536d18494c32e66ef9f479d65bbe0d863de";
    static constexpr const char* complaints[] = {"hash is NULL!", "len(19) is invalid!",
                                                 "str is NULL!", "len(39) is invalid!"};
    static const EVP_MD* peer() { return EVP_sha1(); }
    using CSha1::final;
    using CSha1::hex;
    void final(unsigned char* digest) { final(digest, sizeBytes); }
    void hex(char* text) { hex(text, 2 * sizeBytes); }
    void misuse(std::string& text) {
        final(nullptr, sizeBytes);
        final(bytesOf(text), sizeBytes - 1);
        hex(nullptr, 0);
        hex(text.data(), 2 * sizeBytes - 1);
    }
};

void feed(auto& digest, std::string text) {
    digest.update(bytesOf(text), static_cast<unsigned int>(text.size()));
}

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        for (const int shift : {4, 0}) text += "0123456789abcdef"[byte >> shift & 15];
    }
    return text;
}

// The characters of the result, which its bytes confirm; they are asked for first, or last.
template <class Digest>
std::string resultOf(Digest& digest, bool charactersFirst = false) {
    std::string text(2 * Digest::sizeBytes + 1, '#');
    std::string bytes(Digest::sizeBytes + 1, '#');
    if (charactersFirst) digest.hex(text.data());
    digest.final(bytesOf(bytes));
    if (!charactersFirst) digest.hex(text.data());
    EXPECT_TRUE(text.back() == '#' && bytes.back() == '#') << "wrote more than a digest";
    text.pop_back();
    bytes.pop_back();
    EXPECT_EQ(text, hexOf(bytes));
    return text;
}

template <class Digest>
std::string peerResult(std::string_view message) {
    std::string result(Digest::sizeBytes, '\0');
    EVP_Digest(message.data(), message.size(), bytesOf(result), nullptr, Digest::peer(), nullptr);
    return hexOf(result);
}

template <class Digest>
class AnyDigest : public testing::Test {};
using Digests = testing::Types<Md5, Sha1>;
TYPED_TEST_SUITE(AnyDigest, Digests);

TYPED_TEST(AnyDigest, AgreesWithAPeerOnMessagesInRandomPieces) {
    std::mt19937 random(1);
    TypeParam digest;
    for (std::size_t round = 0; round < 3000; ++round) {
        std::string message(1 + round % 300, '\0');
        for (char& byte : message) byte = static_cast<char>(random());
        for (std::size_t at = 0, piece = 0; at < message.size(); at += piece) {
            piece = random() % 200;
            feed(digest, message.substr(at, piece));
        }
        ASSERT_EQ(resultOf(digest, round % 2 == 0), peerResult<TypeParam>(message)) << round;
    }
}

TYPED_TEST(AnyDigest, KeepsAResultUntilTheNextBytes) {
    TypeParam digest;
    EXPECT_EQ(resultOf(digest), peerResult<TypeParam>(""));
    feed(digest, "a");
    for (int again = 0; again < 2; ++again) {  // no bytes start no message
        EXPECT_EQ(resultOf(digest), peerResult<TypeParam>("a"));
        feed(digest, "");
        digest.update(nullptr, 7);
    }
    feed(digest, "b");
    EXPECT_EQ(resultOf(digest), peerResult<TypeParam>("b")) << "of b alone";
}

TYPED_TEST(AnyDigest, ReportsBadArgumentsAndLeavesTheMessageOpen) {
    TypeParam digest;
    std::string text(41, '#');
    feed(digest, "a");
    std::istringstream log(Testing::printed(2, [&] { digest.misuse(text); }));
    std::string line;
    for (const char* const complaint : TypeParam::complaints) {
        EXPECT_TRUE(std::getline(log, line) && line.ends_with(complaint)) << line;
    }
    EXPECT_FALSE(std::getline(log, line)) << line;
    EXPECT_EQ(text, std::string(41, '#')) << "nothing was written";
    feed(digest, "bc");
    EXPECT_EQ(resultOf(digest), peerResult<TypeParam>("abc"));
}

TYPED_TEST(AnyDigest, CountsMoreBitsThanAWordHolds) {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "512 MiB take too long in this build";
#endif
    const std::string piece(1 << 20, '\0');
    TypeParam digest;
    feed(digest, std::string(1, '\0'));
    for (int i = 0; i < 512; ++i) feed(digest, piece);
    EXPECT_EQ(resultOf(digest), TypeParam::resultOfZeros);
}

TEST(Md5, InitDiscardsPiecesAndResults) {
    Md5 digest;
    feed(digest, std::string(100, 'x'));
    digest.init();
    feed(digest, "a");
    EXPECT_EQ(resultOf(digest), peerResult<Md5>("a"));
    digest.init();
    EXPECT_EQ(resultOf(digest), peerResult<Md5>(""));
}

TEST(Sha1, WritesNoMoreThanADigestIntoALargerRoom) {
    Sha1 digest;
    std::string text(42, '#');
    digest.final(bytesOf(text), 42);
    EXPECT_EQ(text.substr(20), std::string(22, '#'));
    digest.hex(text.data(), 41);
    EXPECT_EQ(text, peerResult<Sha1>("") + '\0' + '#');
}

// Block by block through the portable one, against all at once.
TEST(Sha1Kernels, AgreeOnRandomStatesAndBlocks) {
    std::mt19937 random(1);
    struct Work {
        std::uint32_t state[5];
        unsigned char buffer[64];
        bool operator==(const Work&) const = default;
    };
    for (int round = 0; round < 2000; ++round) {
        Work start{};
        for (std::uint32_t& word : start.state) word = static_cast<std::uint32_t>(random());
        std::string bytes(5 * 64 + 16, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        const unsigned char* const blocks = bytesOf(bytes) + round % 16;
        const std::size_t blockCount = random() % 6;

        Work expected = start;
        for (std::size_t i = 0; i < blockCount; ++i) {
            std::copy_n(blocks + 64 * i, 64, expected.buffer);
            sha1BlocksPortable(expected.state, expected.buffer, expected.buffer, 1);
        }
        for (const auto& kernel : sha1Kernels()) {
            if (!kernel.isUsable()) continue;
            Work work = start;
            kernel.run(work.state, work.buffer, blocks, blockCount);
            ASSERT_TRUE(work == expected) << kernel.name << ", " << blockCount << " blocks";
        }
    }
}

}  // namespace

}  // namespace Tovra::Utils
