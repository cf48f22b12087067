#pragma once

#include "vesko/export.h"

/// Text between UTF-8, 16-bit Unicode, code page 936 (Chinese), Windows-1252 and single-byte pages.
///
/// A unit is 16 bits and one character; nothing above U+FFFF exists here. Each function meets bad
/// input in its own way and reports it by nothing but its result. Buffers are the caller's and do not
/// overlap; a pointer is valid unless null is told to be refused. There is no state and no locale.
/// Threads: any thread may call any function.
/// Units: sizes are bytes, unless units are told.
namespace Tovra::Utils {

/// Decodes one character of code page 936.
/// @param boundLen bytes that may be read
/// @param uni      receives the character; 0 for a pair that is undefined
/// @return the bytes used, 1 or 2; -1 for a pair that is undefined, and when `boundLen` is below 1
VESKO_API int char2uni(const unsigned char* raw, int boundLen, unsigned short* uni);

/// Encodes one character in code page 936. Characters below U+0100 become the byte of the same
/// value. Some characters without a code of their own become their nearest neighbour.
/// @param out      receives 1 or 2 bytes; two zeros when a pair is undefined
/// @param boundLen room in `out`
/// @return the bytes written; -1 for a character without a code, among them 0, and when `boundLen`
///         is too small
VESKO_API int uni2char(unsigned short uni, unsigned char* out, int boundLen);

/// Decodes text of code page 936 that ends with a zero. An undefined pair becomes U+FFFD.
/// @param dstLen room in `dst` in units, all of which are set: to 0 behind the text
/// @return the units written; 0 when a pointer is null
VESKO_API int Gb2312ToUni(char* src, unsigned short* dst, int dstLen);

/// Encodes units in code page 936, up to the first 0 or as many as told. Text that is too long ends
/// with the last character that fits.
/// @param srcLen units in `src`
/// @param dst    room for `dstLen` bytes, all of which are set to zero first, and one more
/// @return the units converted; -1 at the first that has no code: what was before it stays in `dst`
VESKO_API int UniTGb2312(unsigned short* src, int srcLen, char* dst, int dstLen);

/// Converts text of code page 936 that ends with a zero to UTF-8. An undefined pair becomes U+FFFD.
/// @param dstLen room in `dst`, all of which is set to zero first: so the text ends with a zero if
///               it is shorter than that. A character that does not fit is left out.
/// @return the bytes written; 0, with `dst` as it was, when a pointer is null or `src` is empty
VESKO_API int Gb2312TUtf8(char* src, unsigned char* dst, int dstLen);

/// Converts UTF-8 text that ends with a zero to code page 936. Bytes that are no UTF-8 are left out.
/// @param srcLen bytes of `src` that may be read
/// @param dst    room for `dstLen` bytes, all of which are set to zero first, and one more
/// @return the characters converted; -1 at the first that has no code: what was before it stays in
///         `dst`; 0, with `dst` as it was, when a pointer is null or `src` is empty
VESKO_API int utf8TGb2312(unsigned char* src, char* dst, int srcLen, int dstLen);

/// Decodes one character of UTF-8, in up to six bytes; of a character above U+FFFF the lower 16 bits
/// count. Longer forms than needed are refused.
/// @param n bytes that may be read; the first is read in any case
/// @return the bytes used; -1, with `p` untouched, for what is no UTF-8 or not all there
VESKO_API int utf8_mbtowc(unsigned short* p, const unsigned char* s, int n);

/// Decodes UTF-8 up to the first zero or as many bytes as told. Bytes that are no UTF-8 are left out.
/// No terminator is written.
/// @param pwcs room for as many units as bytes are read
/// @return the units written
VESKO_API int utf8_mbstowcs(unsigned short* pwcs, const unsigned char* s, int n);

/// Encodes one character in UTF-8.
/// @param maxlen room in `s`
/// @return the bytes written, up to 3; -1 when they do not fit; 0 for a null `s`
VESKO_API int utf8_wctomb(unsigned char* s, unsigned short wc, int maxlen);

/// Encodes units in UTF-8 up to the first 0. A character that does not fit is left out, and takes
/// one byte off the room for those behind it. No terminator is written.
/// @param maxlen room in `s`
/// @return the bytes written
VESKO_API int utf8_wcstombs(unsigned char* s, const unsigned short* pwcs, int maxlen);

/// Decodes the first character of UTF-8 text that ends with a zero, in up to three bytes.
/// @param length receives the bytes of the character as its first byte tells them; 0 at the end of
///               the text, for a longer character, and for text that begins with no first byte
/// @return the character; what there is of it when a byte is missing, and 0 when the text ends there
VESKO_API unsigned short GetUnicodeFromUtf8(const char* utf8, int* length);

/// Converts Windows-1252 to UTF-8. The first of the five undefined bytes and all behind it become
/// zero bytes. No terminator is written.
/// @return 0 when the text was written; the bytes that it needs, with nothing written, when they are
///         more than `dstLen`; -1 when `src` is null or `srcLen` is below 1
VESKO_API int cp1252_to_utf8(unsigned char* dst, int dstLen, const unsigned char* src, int srcLen);

/// Converts UTF-8 to Windows-1252, up to the first bytes that are no UTF-8 or to the room in `dst`.
/// Characters without a byte are left out; so is U+00FF. No terminator is written.
/// @return the bytes written
VESKO_API int utf8_to_cp1252(const unsigned char* src, int srcLen, unsigned char* dst, int dstLen);

/// Each converts a single-byte code page to UTF-8. Undefined bytes, and zeros, are left out. A full
/// `dst` ends the conversion, which can go on from there. No terminator is written.
/// @param dstLen room in `dst`, and then the bytes written
/// @param srcLen bytes in `src`, and then the bytes used
/// @return 0; -1, with nothing changed, when a pointer is null, `srcLen` is below 1, or `dstLen` is
///         below `srcLen`
VESKO_API int cp862_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen);

/// As `cp862_to_utf8`; byte 80 is undefined.
VESKO_API int cp874_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int cp1250_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                             int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int cp1251_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                             int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_1_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_2_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_3_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_4_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_5_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`; the digits 0 to 9 become those of Arabic, U+0660 to U+0669.
VESKO_API int iso8859_6_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8` in its edition of 1987.
VESKO_API int iso8859_7_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_8_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_9_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_10_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_13_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_14_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_15_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

/// As `cp862_to_utf8`.
VESKO_API int iso8859_16_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

}  // namespace Tovra::Utils
