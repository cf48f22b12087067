#include "vesko/utils/crc.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "utils/crckernels.h"

namespace Tovra::Utils {

namespace {

constexpr unsigned char s_digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

std::vector<unsigned char> randomBytes(std::size_t sizeBytes) {
    std::mt19937 random(1);
    std::vector<unsigned char> bytes(sizeBytes);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

// The definition, bit by bit.
std::uint32_t model(std::uint32_t polynomial, std::uint32_t state, const unsigned char* data,
                    std::size_t sizeBytes) {
    for (std::size_t i = 0; i < sizeBytes; ++i) {
        state ^= data[i];
        for (int bit = 0; bit < 8; ++bit) state = (state >> 1) ^ (state % 2 != 0 ? polynomial : 0);
    }
    return state;
}

TEST(Crc, GivesThePublishedChecksums) {
    EXPECT_EQ(crc16(0, s_digits, 9), 0xBB3D);
    EXPECT_EQ(crc32(s_digits, 9), 0xCBF43926);
}

TEST(Crc, OfNothingIsTheStartValue) {
    EXPECT_EQ(crc16(7, nullptr, 0), 7);
    EXPECT_EQ(crc32(nullptr, 0), 0U);
    EXPECT_EQ(crc32(0x12345678, s_digits, 0), 0x12345678U);
}

TEST(Crc, GoesOnWithTheNextPiece) {
    const std::vector<unsigned char> bytes = randomBytes(300);
    const unsigned char* const data = bytes.data();
    const std::uint32_t whole16 = model(0xA001, 0xFFFF, data, 300);
    const std::uint32_t whole32 = ~model(0xEDB88320, 0xFFFFFFFF, data, 300);
    for (unsigned int cut = 0; cut <= 300; ++cut) {
        const unsigned char* const rest = data + cut;
        EXPECT_EQ(crc16(crc16(0xFFFF, data, cut), rest, 300 - cut), whole16) << cut;
        EXPECT_EQ(crc32(crc32(data, cut), rest, 300 - cut), whole32) << cut;
    }
}

// Every kernel against the definition: all sizes around its steps, any alignment, any state.
void expectModel(const Kernel<CrcRun>& kernel, std::uint32_t polynomial, std::uint32_t stateMask) {
    SCOPED_TRACE(kernel.name);
    if (!kernel.isUsable()) return;
    const std::vector<unsigned char> bytes = randomBytes(400);
    for (const std::uint32_t state : {0U, 1U, 0x89ABCDEFU & stateMask, stateMask}) {
        for (std::size_t size = 0; size <= 300; ++size) {
            const unsigned char* const data = bytes.data() + size % 17;
            ASSERT_EQ(kernel.run(state, data, size), model(polynomial, state, data, size)) << size;
        }
    }
}

TEST(CrcKernels, ComputeTheDefinition) {
    for (const auto& kernel : crc16Kernels()) expectModel(kernel, 0xA001, 0xFFFF);
    for (const auto& kernel : crc32Kernels()) expectModel(kernel, 0xEDB88320, 0xFFFFFFFF);
}

}  // namespace

}  // namespace Tovra::Utils
