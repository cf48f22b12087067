#pragma once

#include <cstdint>

/// Slots that hold one pointer for each thread.
///
/// Threads: any thread may call any function; a value is seen only by the thread that stored it.
namespace Tovra::Platform {

/// What `TlsAlloc` gives when no slot is left.
inline constexpr std::uint32_t TLS_OUT_OF_INDEXES = 0xFFFFFFFF;

/// @return the index of a slot that reads null on every thread, or `TLS_OUT_OF_INDEXES`
std::uint32_t TlsAlloc();

/// Gives a slot back. Frees nothing that the values point to.
/// @return false when `index` is no slot
bool TlsFree(std::uint32_t index);

/// @return what the calling thread stored; null when it stored nothing or `index` is no slot
void* TlsGetValue(std::uint32_t index);

/// Stores a value for the calling thread.
/// @return false when `index` is no slot or memory is short
bool TlsSetValue(std::uint32_t index, const void* value);

}  // namespace Tovra::Platform
