#pragma once

#include <cstddef>
#include <cstdint>

#include "utils/kernel.h"

namespace Tovra::Utils {

inline constexpr std::size_t aesBlockBytes = 16;

/// The round keys of one direction: four words a round, each column's first byte lowest. Wiped at
/// its end.
struct AesKey {
    AesKey() = default;
    ~AesKey();
    AesKey(const AesKey&) = delete;
    AesKey& operator=(const AesKey&) = delete;

    /// Makes the keys of the cipher.
    /// @return false, with nothing changed, when there is no key of so many bits
    bool setForward(const unsigned char* key, int bits);

    /// Makes the keys of the inverse cipher, in the order of their use (the equivalent form).
    /// @return as `setForward`
    bool setBackward(const unsigned char* key, int bits);

    int rounds = 0;
    const std::uint32_t* roundKeys = words;
    std::uint32_t words[68] = {};
};

/// Passes whole blocks through the cipher, each by itself. `dst` may be `src`.
using AesBlocks = void(const AesKey& key, unsigned char* dst, const unsigned char* src,
                       std::size_t blockCount);

std::span<const Kernel<AesBlocks>> aesEncryptKernels();
std::span<const Kernel<AesBlocks>> aesDecryptKernels();

AesBlocks aesEncryptPortable;
AesBlocks aesDecryptPortable;

}  // namespace Tovra::Utils
