#pragma once

#include <cstddef>
#include <cstdint>

#include "utils/kernel.h"

namespace Tovra::Utils {

// Reflected: the highest power stands in the lowest bit. A polynomial of degree 16 is one of degree
// 32 whose lower half is zero, so both run on the same 32-bit state.
constexpr std::uint32_t crc16Polynomial = 0xA001;
constexpr std::uint32_t crc32Polynomial = 0xEDB88320;

/// Takes bytes into a checksum's running state; inversions are the caller's.
using CrcRun = std::uint32_t(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes);

std::span<const Kernel<CrcRun>> crc16Kernels();
std::span<const Kernel<CrcRun>> crc32Kernels();

CrcRun crc16Portable;
CrcRun crc32Portable;
CrcRun crc16X86;
CrcRun crc32X86;

}  // namespace Tovra::Utils
