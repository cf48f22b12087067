#pragma once

#include <cstddef>
#include <cstring>

namespace Tovra::Utils {

/// Overwrites memory that held secrets; unlike a plain memset, also when nobody reads it again.
inline void secureZero(void* data, std::size_t sizeBytes) {
    // A size that the compiler cannot see is left to the C library, which is several times faster
    // than the instructions that GCC puts in its place.
    asm("" : "+r"(sizeBytes));
    std::memset(data, 0, sizeBytes);
    // To the compiler this reads the memory, so that the zeros must have been written.
    asm volatile("" : : "r"(data) : "memory");
}

}  // namespace Tovra::Utils
