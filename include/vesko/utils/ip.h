#pragma once

#include <cstdint>

#include "vesko/export.h"

namespace Tovra {

/// An IPv4 address. The first number of its text is the highest byte of `value`.
union IpAddress {
    std::uint32_t value;    ///< for a.b.c.d: a * 2^24 + b * 2^16 + c * 2^8 + d
    std::uint8_t bytes[4];  ///< of `value`, as the processor keeps them
};

/// Addresses as text, four numbers with dots between them.
///
/// Threads: any thread may call any function.
namespace Utils {

/// Writes an address as text.
/// @param size room in `str`, 1 at least; 16 holds any address, less cuts the text
/// @return `str`
VESKO_API char* ipToString(IpAddress ip, char* str, unsigned int size);

/// Reads four numbers with dots between them. Of each the lower 8 bits count. What follows them is
/// ignored. Numbers that are missing count as 0, which is reported in the log; null has none.
VESKO_API IpAddress stringToIp(const char* str);

}  // namespace Utils

}  // namespace Tovra
