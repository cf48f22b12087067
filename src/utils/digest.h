#pragma once

#include <cstddef>
#include <cstring>

/// What the message digests have in common.
namespace Tovra::Utils {

constexpr std::size_t digestBlockBytes = 64;
constexpr std::size_t digestLengthBytes = 8;

/// Ends a message as RFC 1321 and FIPS 180 both want it: 0x80, zeros, the length in the last bytes.
/// @param buffer   the partial block, with `used` bytes, fewer than a block
/// @param runBlock called once or twice, each time that `buffer` is full
template <class RunBlock>
void padMessage(unsigned char (&buffer)[digestBlockBytes], std::size_t used,
                const unsigned char (&length)[digestLengthBytes], RunBlock runBlock) {
    constexpr std::size_t lengthAt = digestBlockBytes - digestLengthBytes;
    buffer[used++] = 0x80;
    if (used > lengthAt) {
        std::memset(buffer + used, 0, digestBlockBytes - used);
        runBlock();
        used = 0;
    }
    std::memset(buffer + used, 0, lengthAt - used);
    std::memcpy(buffer + lengthAt, length, digestLengthBytes);
    runBlock();
}

/// Writes two lowercase characters for each byte, and no terminating zero.
inline void writeHex(char* text, const unsigned char* bytes, std::size_t sizeBytes) {
    constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < sizeBytes; ++i) {
        *text++ = digits[bytes[i] >> 4];
        *text++ = digits[bytes[i] & 15];
    }
}

}  // namespace Tovra::Utils
