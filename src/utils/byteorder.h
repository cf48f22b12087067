#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Words in memory whose byte order is fixed, at any address.
namespace Tovra::Utils {

constexpr std::uint32_t swapBytes(std::uint32_t value) {
    return (value >> 24) | ((value >> 8) & 0xFF00) | ((value << 8) & 0xFF0000) | (value << 24);
}

// The same exchange serves both directions.
constexpr std::uint32_t asLittle(std::uint32_t value) {
    return std::endian::native == std::endian::little ? value : swapBytes(value);
}
constexpr std::uint32_t asBig(std::uint32_t value) { return swapBytes(asLittle(value)); }

inline std::uint32_t loadNative32(const unsigned char* from) {
    std::uint32_t value = 0;
    std::memcpy(&value, from, sizeof(value));
    return value;
}
inline std::uint32_t loadLittle32(const unsigned char* from) {
    return asLittle(loadNative32(from));
}
inline std::uint32_t loadBig32(const unsigned char* from) { return asBig(loadNative32(from)); }

inline void storeLittle32(unsigned char* to, std::uint32_t value) {
    value = asLittle(value);
    std::memcpy(to, &value, sizeof(value));
}
inline void storeBig32(unsigned char* to, std::uint32_t value) {
    value = asBig(value);
    std::memcpy(to, &value, sizeof(value));
}

}  // namespace Tovra::Utils
