#pragma once

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <initializer_list>
#include <random>
#include <string>
#include <string_view>

#include "support/capture.h"

/// What every message digest promises, checked against a peer. A `Subject` names the class, how its
/// results are read, the peer's algorithm and the published digests.
namespace Tovra::Testing {

inline const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
inline unsigned char* bytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

template <class Digest>
void feed(Digest& digest, std::string_view text) {
    digest.update(bytesOf(text), static_cast<unsigned int>(text.size()));
}

template <class Subject>
std::string resultOf(typename Subject::Digest& digest) {
    std::string result(Subject::sizeBytes + 1, '#');
    Subject::final(digest, bytesOf(result));
    EXPECT_EQ(result.back(), '#') << "wrote more than a digest";
    result.pop_back();
    return result;
}

template <class Subject>
std::string hexOf(typename Subject::Digest& digest) {
    std::string text(2 * Subject::sizeBytes + 1, '#');
    Subject::hex(digest, text.data());
    EXPECT_EQ(text.back(), '#') << "wrote more than the characters";
    text.pop_back();
    return text;
}

template <class Subject>
std::string peerResult(std::string_view message) {
    std::string result(Subject::sizeBytes, '\0');
    const int done = EVP_Digest(message.data(), message.size(), bytesOf(result), nullptr,
                                Subject::peer(), nullptr);
    EXPECT_EQ(done, 1);
    return result;
}

template <class Subject>
class DigestContract : public testing::Test {};
TYPED_TEST_SUITE_P(DigestContract);

TYPED_TEST_P(DigestContract, GivesThePublishedDigests) {
    for (const auto& [message, expected] : TypeParam::published) {
        typename TypeParam::Digest digest;
        feed(digest, message);
        EXPECT_EQ(hexOf<TypeParam>(digest), expected) << message;
    }
}

TYPED_TEST_P(DigestContract, GivesTheSameDigestForEverySplitInThree) {
    typename TypeParam::Digest digest;
    for (const std::size_t size : {55U, 56U, 57U, 63U, 64U, 65U, 119U, 120U, 128U}) {
        const std::string message = std::string(size - 1, 'x') + "\xFF";
        const std::string_view view = message;
        const std::string expected = peerResult<TypeParam>(message);
        for (std::size_t first = 0; first <= size; ++first) {
            for (std::size_t second = first; second <= size; ++second) {
                feed(digest, view.substr(0, first));
                feed(digest, view.substr(first, second - first));
                feed(digest, view.substr(second));
                ASSERT_EQ(resultOf<TypeParam>(digest), expected)
                    << size << " bytes, split at " << first << " and " << second;
            }
        }
    }
}

TYPED_TEST_P(DigestContract, AgreesWithAPeerOnRandomMessagesInRandomPieces) {
    std::mt19937 random(1);
    typename TypeParam::Digest digest;
    for (int round = 0; round < 300; ++round) {
        std::string message(random() % 2000 + 1, '\0');
        for (char& byte : message) byte = static_cast<char>(random());
        for (std::string_view rest = message; !rest.empty();) {
            const std::string_view piece = rest.substr(0, random() % 200);
            feed(digest, piece);
            rest.remove_prefix(piece.size());
        }
        ASSERT_EQ(resultOf<TypeParam>(digest), peerResult<TypeParam>(message)) << round;
    }
}

TYPED_TEST_P(DigestContract, KeepsAResultUntilTheNextBytes) {
    const std::string ofA = peerResult<TypeParam>("a");
    typename TypeParam::Digest digest;
    feed(digest, "a");
    EXPECT_EQ(resultOf<TypeParam>(digest), ofA);
    const std::string hex = hexOf<TypeParam>(digest);
    feed(digest, "");
    digest.update(nullptr, 7);
    EXPECT_EQ(resultOf<TypeParam>(digest), ofA) << "an update without bytes starts no message";
    EXPECT_EQ(hexOf<TypeParam>(digest), hex);
    feed(digest, "b");
    const std::string hexOfB = hexOf<TypeParam>(digest);
    EXPECT_NE(hexOfB, hex);
    EXPECT_EQ(resultOf<TypeParam>(digest), peerResult<TypeParam>("b")) << "of b alone";
    EXPECT_EQ(hexOf<TypeParam>(digest), hexOfB);
}

// The expected digest of so many zeros comes from the peer's command line tool.
TYPED_TEST_P(DigestContract, CountsMoreBitsThanAWordHolds) {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "512 MiB take too long in this build";
#endif
    const std::string piece(1 << 20, '\0');
    typename TypeParam::Digest digest;
    feed(digest, std::string(1, '\0'));
    for (int i = 0; i < 512; ++i) feed(digest, piece);
    EXPECT_EQ(hexOf<TypeParam>(digest), TypeParam::hexOfZeros);
}

REGISTER_TYPED_TEST_SUITE_P(DigestContract, GivesThePublishedDigests,
                            GivesTheSameDigestForEverySplitInThree,
                            AgreesWithAPeerOnRandomMessagesInRandomPieces,
                            KeepsAResultUntilTheNextBytes, CountsMoreBitsThanAWordHolds);

struct Published {
    const char* message;
    const char* hex;
};

/// Checks that `lines` stand in the log in this order, each at the end of a line of its own.
inline void expectLines(const std::string& log, std::initializer_list<const char*> lines) {
    std::size_t from = 0;
    for (const std::string line : lines) {
        const std::size_t end = log.find('\n', from) + 1;
        ASSERT_NE(end, 0U) << "no line for " << line;
        EXPECT_TRUE(log.substr(from, end - from).ends_with(line)) << log;
        from = end;
    }
    EXPECT_EQ(from, log.size()) << "more than expected: " << log;
}

}  // namespace Tovra::Testing
