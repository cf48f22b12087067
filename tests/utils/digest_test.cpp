// Every message digest against a peer, and what each adds to it.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "support/capture.h"
#include "utils/sha1kernels.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"

namespace {

using namespace Tovra::Utils;

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

struct Md5 : CMd5 {
    static constexpr unsigned int sizeBytes = 16;
};
struct Sha1 : CSha1 {
    static constexpr unsigned int sizeBytes = 20;
    void final(unsigned char* digest) { CSha1::final(digest, sizeBytes); }
    void hex(char* text) { CSha1::hex(text, 2 * sizeBytes); }
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

std::string resultOf(auto& digest, bool charactersFirst = false) {
    std::string text(2 * digest.sizeBytes, '#');
    std::string bytes(digest.sizeBytes, '#');
    if (charactersFirst) digest.hex(text.data());
    digest.final(bytesOf(bytes));
    if (!charactersFirst) digest.hex(text.data());
    EXPECT_EQ(text, hexOf(bytes));
    return text;
}

std::string peerResult(const auto& digest, const std::string& message) {
    std::string result(digest.sizeBytes, '\0');
    const EVP_MD* const peer = digest.sizeBytes == 16 ? EVP_md5() : EVP_sha1();
    EVP_Digest(message.data(), message.size(), bytesOf(result), nullptr, peer, nullptr);
    return hexOf(result);
}

template <class Digest>
class AnyDigest : public testing::Test {};
using Digests = testing::Types<Md5, Sha1>;
TYPED_TEST_SUITE(AnyDigest, Digests);

TYPED_TEST(AnyDigest, AgreesWithAPeerOnMessagesInRandomPieces) {
    std::mt19937 random(1);
    TypeParam digest;
    EXPECT_EQ(resultOf(digest), peerResult(digest, ""));
    for (std::size_t round = 0; round < 3000; ++round) {
        std::string message(1 + round % 300, '\0');
        for (char& byte : message) byte = static_cast<char>(random());
        for (std::size_t at = 0, piece = 0; at < message.size(); at += piece) {
            piece = random() % 200;
            feed(digest, message.substr(at, piece));
        }
        const std::string expected = peerResult(digest, message);
        ASSERT_EQ(resultOf(digest, round % 2 == 0), expected) << round;
        feed(digest, "");  // no bytes start no message
        digest.update(nullptr, 7);
        ASSERT_EQ(resultOf(digest), expected);
    }
}

TYPED_TEST(AnyDigest, CountsMoreBitsThanAWordHolds) {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "512 MiB take too long in this build";
#endif
    TypeParam digest;
    for (int i = 0; i < 512; ++i) feed(digest, std::string(1 << 20, '\0'));
    // As md5sum and sha1sum tell.
    EXPECT_EQ(resultOf(digest), digest.sizeBytes == 16
                                    ? "aa559b4e3523a6c931f08f4df52d58f2"
                                    : "5b088492c9f4778f409b7ae61477dec124c99033");
}

TEST(Md5, StartsAnewAndReportsBadArguments) {
    Md5 digest;
    feed(digest, std::string(100, 'x'));
    digest.init();
    EXPECT_EQ(resultOf(digest), peerResult(digest, ""));
    EXPECT_EQ(Tovra::Testing::printed(2, [&] { digest.final(nullptr), digest.hex(nullptr); }),
              "digest is NULL\nhash is NULL\n");
}

TEST(Sha1, ReportsBadArgumentsAndLeavesTheMessageOpen) {
    CSha1 digest;
    std::string text(42, '#');
    digest.update(bytesOf(text), 1);
    const std::string told = Tovra::Testing::printed(2, [&] {
        digest.final(nullptr, 20), digest.final(bytesOf(text), 19);
        digest.hex(nullptr, 40), digest.hex(text.data(), 39);
    });
    EXPECT_EQ(told, "hash is NULL!\nlen(19) is invalid!\nstr is NULL!\nlen(39) is invalid!\n");
    digest.update(bytesOf(text), 1);
    digest.hex(text.data(), 41);  // the room is larger than a digest
    EXPECT_EQ(text, peerResult(Sha1(), "##") + '\0' + '#');
}

TEST(Sha1Kernels, AgreeOnRandomStatesAndBlocks) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::array<std::uint32_t, 5 + 16> start{};  // the state, and the buffer behind it
        for (std::uint32_t& word : start) word = static_cast<std::uint32_t>(random());
        std::string bytes(5 * 64 + 16, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        const unsigned char* const blocks = bytesOf(bytes) + round % 16;
        const std::size_t blockCount = random() % 6;
        const auto run = [&](Sha1Blocks& kernel) {
            auto work = start;
            kernel(work.data(), reinterpret_cast<unsigned char*>(&work[5]), blocks, blockCount);
            return work;
        };
        for (const auto& kernel : sha1Kernels()) {
            if (!kernel.isUsable()) continue;
            ASSERT_EQ(run(*kernel.run), run(sha1BlocksPortable)) << kernel.name;
        }
    }
}

}  // namespace
