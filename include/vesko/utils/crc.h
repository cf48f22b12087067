#pragma once

#include "vesko/export.h"

/// Checksums against accidental change. Any thread may call them; lengths are bytes.
namespace Tovra::Utils {

/// CRC-16/ARC when it starts from 0: polynomial 0x8005, reflected, nothing inverted.
/// @param crc the start value, or the result of the message's earlier part
/// @pre `buffer` holds `length` bytes; it may be null when `length` is 0
VESKO_API unsigned short crc16(unsigned short crc, const unsigned char* buffer,
                               unsigned int length);

/// CRC-32 of IEEE 802.3 over a whole message.
/// @pre `buffer` holds `length` bytes; it may be null when `length` is 0
VESKO_API unsigned int crc32(const unsigned char* buffer, unsigned int length);

/// CRC-32 of IEEE 802.3 over a message that arrives in pieces.
/// @param crc 0, or the result of the message's earlier part
/// @pre `buffer` holds `length` bytes; it may be null when `length` is 0
VESKO_API unsigned int crc32(unsigned int crc, const unsigned char* buffer, unsigned int length);

}  // namespace Tovra::Utils
