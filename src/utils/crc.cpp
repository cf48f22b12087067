#include "vesko/utils/crc.h"

#include <array>

#include "utils/byteorder.h"
#include "utils/crckernels.h"

namespace Tovra::Utils {

namespace {

constexpr std::size_t s_sliceBytes = 16;

// Row 0 is the ordinary table of a byte; row n tells what the byte leaves behind n bytes later.
template <class Value>
using Tables = std::array<std::array<Value, 256>, s_sliceBytes>;

template <class Value>
constexpr Tables<Value> makeTables(Value polynomial) {
    Tables<Value> tables{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        std::uint32_t state = byte;
        for (int bit = 0; bit < 8; ++bit) {
            state = (state >> 1) ^ ((state & 1) != 0 ? polynomial : 0U);
        }
        tables[0][byte] = static_cast<Value>(state);
    }
    for (std::size_t row = 1; row < s_sliceBytes; ++row) {
        for (unsigned int byte = 0; byte < 256; ++byte) {
            const std::uint32_t state = tables[row - 1][byte];
            tables[row][byte] = static_cast<Value>((state >> 8) ^ tables[0][state & 255]);
        }
    }
    return tables;
}

constexpr auto s_tables16 = makeTables<std::uint16_t>(crc16Polynomial);
constexpr auto s_tables32 = makeTables<std::uint32_t>(crc32Polynomial);

template <class Value>
std::uint32_t sliced(const Tables<Value>& tables, std::uint32_t state, const unsigned char* data,
                     std::size_t sizeBytes) {
    for (; sizeBytes >= s_sliceBytes; sizeBytes -= s_sliceBytes, data += s_sliceBytes) {
        state ^= loadLittle32(data);
        std::uint32_t next = 0;
        for (std::size_t i = 0; i < 4; ++i) next ^= tables[15 - i][(state >> (8 * i)) & 255];
        for (std::size_t i = 4; i < s_sliceBytes; ++i) next ^= tables[15 - i][data[i]];
        state = next;
    }
    for (; sizeBytes > 0; --sizeBytes) {
        state = (state >> 8) ^ tables[0][(state ^ *data++) & 255];
    }
    return state;
}

}  // namespace

std::uint32_t crc16Portable(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes) {
    return sliced(s_tables16, state, data, sizeBytes);
}

std::uint32_t crc32Portable(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes) {
    return sliced(s_tables32, state, data, sizeBytes);
}

unsigned short crc16(unsigned short crc, const unsigned char* buffer, unsigned int length) {
    static CrcRun* const s_run = fastest(crc16Kernels());
    return static_cast<unsigned short>(s_run(crc, buffer, length));
}

unsigned int crc32(const unsigned char* buffer, unsigned int length) {
    return crc32(0, buffer, length);
}

unsigned int crc32(unsigned int crc, const unsigned char* buffer, unsigned int length) {
    static CrcRun* const s_run = fastest(crc32Kernels());
    return ~s_run(~crc, buffer, length);
}

}  // namespace Tovra::Utils
