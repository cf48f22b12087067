// What every message digest promises, checked against a peer, and what each adds to it.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "utils/sha1kernels.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"

namespace Tovra::Utils {

namespace {

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

using Published = std::pair<const char*, const char*>;  // a message and its digest

// How a digest's results are read, its peer, and what is known of it.
struct Md5 : CMd5 {
    static constexpr unsigned int sizeBytes = 16;
    static constexpr Published published[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    // From the peer's command line tool, like that of the other digest.
    static constexpr const char* hexOfZeros = "ea3b62c6b93cb3625a1fd76777985f5a";
    static constexpr const char* complaints[] = {"digest is NULL\n", "hash is NULL\n"};
    static const EVP_MD* peer() { return EVP_md5(); }
    void misuse(std::string&) {
        final(nullptr);
        hex(nullptr);
    }
};

struct Sha1 : CSha1 {
    static constexpr unsigned int sizeBytes = 20;
    static constexpr Published published[] = {
        {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"}};
    static constexpr const char* hexOfZeros = "3e1bb536d18494c32e66ef9f479d65bbe0d863de";
    static constexpr const char* complaints[] = {"hash is NULL!\n", "len(19) is invalid!\n",
                                                 "str is NULL!\n", "len(39) is invalid!\n"};
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

template <class Digest>
std::string resultOf(Digest& digest) {
    std::string result(Digest::sizeBytes + 1, '#');
    digest.final(bytesOf(result));
    EXPECT_EQ(result.back(), '#') << "wrote more than a digest";
    result.pop_back();
    return result;
}

template <class Digest>
std::string hexOf(Digest& digest) {
    std::string text(2 * Digest::sizeBytes + 1, '#');
    digest.hex(text.data());
    EXPECT_EQ(text.back(), '#') << "wrote more than the characters";
    text.pop_back();
    return text;
}

template <class Digest>
std::string peerResult(std::string_view message) {
    std::string result(Digest::sizeBytes, '\0');
    EVP_Digest(message.data(), message.size(), bytesOf(result), nullptr, Digest::peer(), nullptr);
    return result;
}

template <class Digest>
class AnyDigest : public testing::Test {};
using Digests = testing::Types<Md5, Sha1>;
TYPED_TEST_SUITE(AnyDigest, Digests);

TYPED_TEST(AnyDigest, GivesThePublishedDigests) {
    for (const auto& [message, expected] : TypeParam::published) {
        TypeParam digest;
        feed(digest, message);
        EXPECT_EQ(hexOf(digest), expected) << message;
    }
}

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
        ASSERT_EQ(resultOf(digest), peerResult<TypeParam>(message)) << round;
    }
}

TYPED_TEST(AnyDigest, KeepsAResultUntilTheNextBytes) {
    TypeParam digest;
    feed(digest, "a");
    const std::string hex = hexOf(digest);
    feed(digest, "");
    digest.update(nullptr, 7);
    EXPECT_EQ(resultOf(digest), peerResult<TypeParam>("a")) << "no bytes start no message";
    EXPECT_EQ(hexOf(digest), hex);
    feed(digest, "b");
    EXPECT_NE(hexOf(digest), hex);
    EXPECT_EQ(resultOf(digest), peerResult<TypeParam>("b")) << "of b alone";
}

TYPED_TEST(AnyDigest, ReportsBadArgumentsAndLeavesTheMessageOpen) {
    TypeParam digest;
    std::string text(41, '#');
    feed(digest, "a");
    const std::string log = Testing::printed(2, [&] { digest.misuse(text); });
    std::size_t from = 0;
    for (const std::string complaint : TypeParam::complaints) {
        const std::size_t end = log.find('\n', from) + 1;
        EXPECT_TRUE(log.substr(from, end - from).ends_with(complaint)) << log;
        from = end;
    }
    EXPECT_EQ(from, log.size());
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
    EXPECT_EQ(hexOf(digest), TypeParam::hexOfZeros);
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
    digest.hex(text.data(), 41);
    EXPECT_EQ(text, std::string("da39a3ee5e6b4b0d3255bfef95601890afd80709\0#", 42));
    text.assign(42, '#');
    digest.final(bytesOf(text), 42);
    EXPECT_EQ(text.substr(20), std::string(22, '#'));
}

// Block by block through the portable one, against all at once.
TEST(Sha1Kernels, AgreeOnRandomStatesAndBlocks) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::uint32_t> start(5);
        for (std::uint32_t& word : start) word = static_cast<std::uint32_t>(random());
        std::string bytes(5 * 64 + 16, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        const unsigned char* const blocks = bytesOf(bytes) + round % 16;
        const std::size_t blockCount = random() % 6;

        std::vector<std::uint32_t> expected = start;
        std::vector<unsigned char> expectedBuffer(64);
        for (std::size_t i = 0; i < blockCount; ++i) {
            std::copy_n(blocks + 64 * i, 64, expectedBuffer.data());
            sha1BlocksPortable(expected.data(), expectedBuffer.data(), expectedBuffer.data(), 1);
        }
        for (const auto& kernel : sha1Kernels()) {
            if (!kernel.isUsable()) continue;
            std::vector<std::uint32_t> state = start;
            std::vector<unsigned char> buffer(64);
            kernel.run(state.data(), buffer.data(), blocks, blockCount);
            ASSERT_EQ(state, expected) << kernel.name << ", " << blockCount << " blocks";
            ASSERT_EQ(buffer, expectedBuffer) << kernel.name << ": the last block stays";
        }
    }
}

}  // namespace

}  // namespace Tovra::Utils
