#pragma once

#include <cstddef>
#include <cstdint>

#include "utils/kernel.h"

namespace Tovra::Utils {

/// Takes blocks of 64 bytes into the five words of the running digest, each by way of `buffer`.
/// @param buffer 64 bytes, which hold the last block afterwards
/// @param blocks the message, or `buffer` itself when it holds the only block
using Sha1Blocks = void(std::uint32_t* state, unsigned char* buffer, const unsigned char* blocks,
                        std::size_t blockCount);

std::span<const Kernel<Sha1Blocks>> sha1Kernels();

Sha1Blocks sha1BlocksPortable;
Sha1Blocks sha1BlocksX86;

}  // namespace Tovra::Utils
