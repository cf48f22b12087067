#pragma once

#include <cstdint>

/// UTF-8, one character at a time.
namespace Tovra::Utils {

/// Adds the six bits of each byte behind the first one.
/// @param value in: the bits of the first byte
/// @return false at a byte that continues nothing; what lies behind it is not read
inline bool continueUtf8(std::uint32_t& value, const unsigned char* bytes, int length) {
    for (int i = 1; i < length; ++i) {
        const std::uint32_t bits = bytes[i] ^ 0x80U;
        if (bits > 0x3F) return false;
        value = value << 6 | bits;
    }
    return true;
}

// Of a form of so many bytes, which the first one has announced.
template <int length>
int decodeUtf8Form(std::uint16_t& character, const unsigned char* bytes, int size) {
    // The least character that may take so many bytes.
    constexpr std::uint32_t leasts[] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};
    if (size < length) return -1;
    std::uint32_t value = bytes[0] & (0x7FU >> length);
    if (!continueUtf8(value, bytes, length) || value < leasts[length]) return -1;
    character = static_cast<std::uint16_t>(value);
    return length;
}

/// As `utf8_mbtowc`. The length of each form is a constant, so that a loop over a text need not wait
/// for one character to know where the next one begins.
inline int decodeUtf8(std::uint16_t& character, const unsigned char* bytes, int size) {
    const unsigned int first = bytes[0];
    if (first < 0x80) {
        character = static_cast<std::uint16_t>(first);
        return 1;
    }
    if (first < 0xC0) return -1;
    if (first < 0xE0) return decodeUtf8Form<2>(character, bytes, size);
    if (first < 0xF0) return decodeUtf8Form<3>(character, bytes, size);
    if (first < 0xF8) return decodeUtf8Form<4>(character, bytes, size);
    if (first < 0xFC) return decodeUtf8Form<5>(character, bytes, size);
    if (first < 0xFE) return decodeUtf8Form<6>(character, bytes, size);
    return -1;
}

/// Writes the bytes of a character, if there is room for all of them.
/// @return the bytes written, or -1
inline int encodeUtf8(unsigned char* bytes, std::uint16_t character, int size) {
    const auto continuing = [](unsigned int bits) {
        return static_cast<unsigned char>((bits & 0x3F) | 0x80);
    };
    if (character < 0x80) {
        if (size < 1) return -1;
        bytes[0] = static_cast<unsigned char>(character);
        return 1;
    }
    if (character < 0x800) {
        if (size < 2) return -1;
        bytes[0] = static_cast<unsigned char>(character >> 6 | 0xC0);
        bytes[1] = continuing(character);
        return 2;
    }
    if (size < 3) return -1;
    bytes[0] = static_cast<unsigned char>(character >> 12 | 0xE0);
    bytes[1] = continuing(static_cast<unsigned int>(character) >> 6);
    bytes[2] = continuing(character);
    return 3;
}

}  // namespace Tovra::Utils
