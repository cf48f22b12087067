#pragma once

#include <array>
#include <cstdint>

/// The tables of code page 936 (GBK).
namespace Tovra::Utils {

/// The code of a character; both bytes are 0 where there is none.
struct BytePair {
    std::uint8_t lead;
    std::uint8_t trail;
};

using DecodePage = std::array<std::uint16_t, 256>;  // by trail byte; 0 is undefined
using EncodePage = std::array<BytePair, 256>;       // by the lower byte of the character

/// What a byte by itself stands for.
extern const std::array<std::uint16_t, 256> c2uSingle;

/// By lead byte; null for a byte that is none.
extern const std::array<const DecodePage*, 256> c2uPages;

/// By the upper byte of the character; null where no character has a code, and for the first 256
/// characters.
extern const std::array<const EncodePage*, 256> u2cPages;

}  // namespace Tovra::Utils
