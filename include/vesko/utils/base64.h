#pragma once

#include "vesko/export.h"

/// Base64 (RFC 4648, with "+", "/" and padding, without line breaks).
///
/// Threads: any thread may call any function.
/// Units: lengths are bytes.
namespace Tovra::Utils {

/// @return the room that `base64Encode` needs for so many bytes, with the terminating zero
VESKO_API int base64EncodeLen(int length);

/// Writes bytes as text with a terminating zero.
/// @param encoded room as `base64EncodeLen` tells, apart from `data`
/// @return the bytes written, with the terminating zero
VESKO_API int base64Encode(char* encoded, const char* data, int length);

/// @return the room that `base64Decode` needs for this text at most, with the terminating zero
VESKO_API int base64DecodeLen(const char* coded);

/// Reads a text up to the first character that is none of Base64: its end, a pad, a line break or
/// anything else. Padding is not needed; of a last group a single character gives nothing. A zero
/// follows the bytes.
/// @param plain room as `base64DecodeLen` tells; may be `coded`
/// @return the bytes, without the zero
VESKO_API int base64Decode(char* plain, const char* coded);

}  // namespace Tovra::Utils
