#pragma once

#include <array>
#include <cstdint>

/// DES (FIPS 46-3), one block at a time, as its two halves.
namespace Tovra::Utils {

/// The keys of 16 rounds, two words each: the groups of six bits for the S-boxes 1, 3, 5, 7 in the
/// bytes of the first, those for 2, 4, 6, 8 in the bytes of the second.
using DesKeys = std::array<std::uint32_t, 32>;

/// @param key 8 bytes; the lowest bit of each does not count
DesKeys desKeysForward(const unsigned char* key);

/// The same keys in the order of decryption.
DesKeys desKeysReversed(const unsigned char* key);

struct DesBlock {
    std::uint32_t left;
    std::uint32_t right;
};

DesBlock desPass(const DesKeys& keys, DesBlock block);

/// Three passes in a row: what ends one and begins the next cancels out, and is left away.
DesBlock desPasses(const DesKeys& first, const DesKeys& second, const DesKeys& third,
                   DesBlock block);

}  // namespace Tovra::Utils
