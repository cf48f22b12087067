#include "vesko/utils/sha1.h"

#include <algorithm>

#include "utils/digest_contract.h"
#include "utils/sha1kernels.h"

namespace Tovra::Testing {

using Utils::CSha1;
using Utils::sha1Kernels;

struct Sha1Subject {
    using Digest = CSha1;
    static constexpr std::size_t sizeBytes = 20;
    static constexpr const char* hexOfZeros = "3e1bb536d18494c32e66ef9f479d65bbe0d863de";
    static constexpr Published published[] = {
        {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"a", "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8"},
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
    };
    static void final(CSha1& sha1, unsigned char* digest) { sha1.final(digest, 20); }
    static void hex(CSha1& sha1, char* text) { sha1.hex(text, 40); }
    static const EVP_MD* peer() { return EVP_sha1(); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Sha1, DigestContract, Sha1Subject);

TEST(Sha1, WritesNoMoreThanADigestIntoALargerRoom) {
    CSha1 sha1;
    std::string text(42, '#');
    sha1.hex(text.data(), 41);
    EXPECT_EQ(text, std::string("da39a3ee5e6b4b0d3255bfef95601890afd80709\0#", 42));
    text.assign(42, '#');
    sha1.final(bytesOf(text), 42);
    EXPECT_EQ(text.substr(20), std::string(22, '#'));
}

TEST(Sha1, ReportsBadArgumentsAndLeavesTheMessageOpen) {
    CSha1 sha1;
    feed(sha1, "a");
    std::string text(41, '#');
    const std::string log = printed(2, [&] {
        sha1.final(nullptr, 20);
        sha1.final(bytesOf(text), 19);
        sha1.hex(nullptr, 0);
        sha1.hex(text.data(), 39);
    });
    expectLines(log, {"hash is NULL!\n", "len(19) is invalid!\n", "str is NULL!\n",
                      "len(39) is invalid!\n"});
    EXPECT_EQ(text, std::string(41, '#')) << "nothing was written";
    feed(sha1, "bc");
    EXPECT_EQ(hexOf<Sha1Subject>(sha1), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

// Block by block through the portable one, against all at once.
TEST(Sha1Kernels, AgreeOnRandomStatesAndBlocks) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::uint32_t start[5];
        for (std::uint32_t& word : start) word = static_cast<std::uint32_t>(random());
        std::string bytes(5 * 64 + 16, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        const unsigned char* const blocks = bytesOf(bytes) + round % 16;
        const std::size_t blockCount = random() % 6;

        std::uint32_t expected[5];
        std::ranges::copy(start, expected);
        unsigned char expectedBuffer[64] = {};
        for (std::size_t i = 0; i < blockCount; ++i) {
            std::copy_n(blocks + 64 * i, 64, expectedBuffer);
            Utils::sha1BlocksPortable(expected, expectedBuffer, expectedBuffer, 1);
        }
        for (const auto& kernel : sha1Kernels()) {
            SCOPED_TRACE(kernel.name);
            if (!kernel.isUsable()) continue;
            std::uint32_t state[5];
            std::ranges::copy(start, state);
            unsigned char buffer[64] = {};
            kernel.run(state, buffer, blocks, blockCount);
            ASSERT_TRUE(std::ranges::equal(state, expected)) << blockCount << " blocks";
            ASSERT_TRUE(std::ranges::equal(buffer, expectedBuffer)) << "the last block stays";
        }
    }
}

}  // namespace Tovra::Testing
