#pragma once

#include <cstdint>

/// UTF-8, one character at a time.
namespace Tovra::Utils {

/// The forms of UTF-8, shortest first.
struct Utf8Form {
    std::uint32_t cmask;  // with `cval`: recognises the first byte
    std::uint32_t cval;
    int shift;            // of the first byte's bits in the character
    std::uint32_t lmask;  // keeps the character's bits
    std::uint32_t lval;   // the least character that may be written so
};

inline constexpr Utf8Form utf8Forms[] = {
    {0x80, 0x00, 0, 0x7F, 0},
    {0xE0, 0xC0, 6, 0x7FF, 0x80},
    {0xF0, 0xE0, 12, 0xFFFF, 0x800},
    {0xF8, 0xF0, 18, 0x1FFFFF, 0x10000},
    {0xFC, 0xF8, 24, 0x3FFFFFF, 0x200000},
    {0xFE, 0xFC, 30, 0x7FFFFFFF, 0x4000000},
};

/// As `utf8_mbtowc`.
inline int decodeUtf8(std::uint16_t& character, const unsigned char* bytes, int size) {
    std::uint32_t value = bytes[0];
    int count = 0;
    for (const Utf8Form& form : utf8Forms) {
        ++count;
        if ((bytes[0] & form.cmask) == form.cval) {
            value &= form.lmask;
            if (value < form.lval) return -1;
            character = static_cast<std::uint16_t>(value);
            return count;
        }
        if (size <= count) return -1;
        const std::uint32_t bits = bytes[count] ^ 0x80U;
        if ((bits & 0xC0) != 0) return -1;
        value = value << 6 | bits;
    }
    return -1;
}

/// Writes as many bytes as the character needs, if there is room for them.
/// @return the bytes written, or -1
inline int encodeUtf8(unsigned char* bytes, std::uint16_t character, int size) {
    int count = 0;
    for (const Utf8Form& form : utf8Forms) {
        if (size <= count) return -1;
        ++count;
        if (character > form.lmask) continue;
        *bytes = static_cast<unsigned char>(character >> form.shift | form.cval);
        for (int shift = form.shift; shift > 0;) {
            shift -= 6;
            *++bytes = static_cast<unsigned char>((character >> shift & 0x3F) | 0x80);
        }
        return count;
    }
    return -1;
}

}  // namespace Tovra::Utils
