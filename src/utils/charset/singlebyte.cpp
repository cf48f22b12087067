#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/charset/singlebytetext.h"
#include "utils/charset/utf8.h"
#include "vesko/utils/charset.h"

namespace Tovra::Utils {

namespace {

using Page = std::array<std::uint16_t, 256>;  // by byte; 0 is undefined

// The text fills the page's end; what lies before it is the byte itself. A blank is undefined.
template <std::size_t size>
constexpr Page makePage(const char16_t (&text)[size]) {
    constexpr std::size_t first = 256 - (size - 1);
    Page page{};
    for (std::size_t byte = 0; byte < first; ++byte) page[byte] = static_cast<std::uint16_t>(byte);
    for (std::size_t i = 0; i < size - 1; ++i) {
        page[first + i] = text[i] != u' ' ? static_cast<std::uint16_t>(text[i]) : std::uint16_t{0};
    }
    return page;
}

constexpr Page withArabicDigits(Page page) {
    for (std::size_t i = 0; i < 10; ++i) page['0' + i] = static_cast<std::uint16_t>(0x660 + i);
    return page;
}

constexpr Page s_cp862 = makePage(cp862Upper);
constexpr Page s_cp874 = makePage(cp874Upper);
constexpr Page s_cp1250 = makePage(cp1250Upper);
constexpr Page s_cp1251 = makePage(cp1251Upper);
constexpr Page s_cp1252 = makePage(cp1252Upper);
constexpr Page s_iso8859_1 = makePage(iso8859_1Upper);
constexpr Page s_iso8859_2 = makePage(iso8859_2Upper);
constexpr Page s_iso8859_3 = makePage(iso8859_3Upper);
constexpr Page s_iso8859_4 = makePage(iso8859_4Upper);
constexpr Page s_iso8859_5 = makePage(iso8859_5Upper);
constexpr Page s_iso8859_6 = withArabicDigits(makePage(iso8859_6Upper));
constexpr Page s_iso8859_7 = makePage(iso8859_7Upper);
constexpr Page s_iso8859_8 = makePage(iso8859_8Upper);
constexpr Page s_iso8859_9 = makePage(iso8859_9Upper);
constexpr Page s_iso8859_10 = makePage(iso8859_10Upper);
constexpr Page s_iso8859_13 = makePage(iso8859_13Upper);
constexpr Page s_iso8859_14 = makePage(iso8859_14Upper);
constexpr Page s_iso8859_15 = makePage(iso8859_15Upper);
constexpr Page s_iso8859_16 = makePage(iso8859_16Upper);

// The routine of the whole family.
int toUtf8(const Page& page, unsigned char* dst, int& dstLen, const unsigned char* src,
           int& srcLen) {
    if (dst == nullptr || src == nullptr || srcLen < 1 || dstLen < srcLen) return -1;
    int used = 0;
    int written = 0;
    for (; used < srcLen; ++used) {
        const std::uint16_t character = page[src[used]];
        if (character == 0) continue;
        const int length = encodeUtf8(dst + written, character, dstLen - written);
        if (length < 0) break;
        written += length;
    }
    srcLen = used;
    dstLen = written;
    return 0;
}

constexpr bool isUndefined1252(unsigned char byte) {
    return byte >= 0x80 && byte < 0xA0 && s_cp1252[byte] == byte;
}

// The bytes that have a character: all before the first undefined one.
int definedLength1252(const unsigned char* src, int srcLen) {
    int length = 0;
    while (length < srcLen && !isUndefined1252(src[length])) ++length;
    return length;
}

int utf8Length(std::uint16_t character) {
    if (character < 0x80) return 1;
    return character < 0x800 ? 2 : 3;
}

// The byte of a character, or -1. Byte FF is never found.
int byteOf1252(std::uint32_t character) {
    if (character < 0xFF) {
        return s_cp1252[character] == character ? static_cast<int>(character) : -1;
    }
    for (int byte = 0x80; byte < 0xA0; ++byte) {
        if (s_cp1252[static_cast<std::size_t>(byte)] == character) return byte;
    }
    return -1;
}

int announcedLength(unsigned char first) {
    constexpr unsigned char leasts[] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    int length = 1;
    for (const unsigned char least : leasts) length += first >= least ? 1 : 0;
    return length;
}

// Takes a character in up to six bytes, in any form. Returns the bytes used, 0 for what is no UTF-8.
int decodeLoosely(std::uint32_t& character, const unsigned char* src, int srcLen) {
    const int length = announcedLength(src[0]);
    if ((src[0] & 0xC0) == 0x80 || length > srcLen) return 0;
    character = length == 1 ? src[0] : src[0] & (0x7FU >> length);
    return continueUtf8(character, src, length) ? length : 0;
}

}  // namespace

int cp1252_to_utf8(unsigned char* dst, int dstLen, const unsigned char* src, int srcLen) {
    if (src == nullptr || srcLen < 1) return -1;
    const int defined = definedLength1252(src, srcLen);
    std::int64_t needed = srcLen - defined;
    for (int i = 0; i < defined; ++i) needed += utf8Length(s_cp1252[src[i]]);
    if (dstLen < needed) return static_cast<int>(needed);
    for (int i = 0; i < defined; ++i) dst += encodeUtf8(dst, s_cp1252[src[i]], 3);
    for (int i = defined; i < srcLen; ++i) *dst++ = 0;
    return 0;
}

int utf8_to_cp1252(const unsigned char* src, int srcLen, unsigned char* dst, int dstLen) {
    int written = 0;
    while (srcLen > 0 && written < dstLen) {
        std::uint32_t character = 0;
        const int used = decodeLoosely(character, src, srcLen);
        if (used == 0) break;
        const int byte = byteOf1252(character);
        if (byte >= 0) dst[written++] = static_cast<unsigned char>(byte);
        src += used;
        srcLen -= used;
    }
    return written;
}

int cp862_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_cp862, dst, dstLen, src, srcLen);
}

int cp874_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_cp874, dst, dstLen, src, srcLen);
}

int cp1250_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_cp1250, dst, dstLen, src, srcLen);
}

int cp1251_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_cp1251, dst, dstLen, src, srcLen);
}

int iso8859_1_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_1, dst, dstLen, src, srcLen);
}

int iso8859_2_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_2, dst, dstLen, src, srcLen);
}

int iso8859_3_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_3, dst, dstLen, src, srcLen);
}

int iso8859_4_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_4, dst, dstLen, src, srcLen);
}

int iso8859_5_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_5, dst, dstLen, src, srcLen);
}

int iso8859_6_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_6, dst, dstLen, src, srcLen);
}

int iso8859_7_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_7, dst, dstLen, src, srcLen);
}

int iso8859_8_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_8, dst, dstLen, src, srcLen);
}

int iso8859_9_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_9, dst, dstLen, src, srcLen);
}

int iso8859_10_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_10, dst, dstLen, src, srcLen);
}

int iso8859_13_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_13, dst, dstLen, src, srcLen);
}

int iso8859_14_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_14, dst, dstLen, src, srcLen);
}

int iso8859_15_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_15, dst, dstLen, src, srcLen);
}

int iso8859_16_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) {
    return toUtf8(s_iso8859_16, dst, dstLen, src, srcLen);
}

}  // namespace Tovra::Utils
