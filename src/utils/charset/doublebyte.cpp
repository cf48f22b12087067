#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "utils/charset/codepage936.h"
#include "vesko/utils/charset.h"

namespace Tovra::Utils {

namespace {

constexpr unsigned short s_replacement = 0xFFFD;
constexpr int s_pairBytes = 2;

using Units = std::unique_ptr<unsigned short[]>;

// All zeros; null when memory is short.
Units newUnits(std::size_t count) { return Units(new (std::nothrow) unsigned short[count]()); }

const unsigned char* bytesOf(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

int decode(const unsigned char* raw, int boundLen, unsigned short& uni) {
    if (boundLen < 1) return -1;
    const DecodePage* const page = c2uPages[raw[0]];
    if (boundLen == 1 || page == nullptr || raw[1] == 0) {
        uni = c2uSingle[raw[0]];
        return 1;
    }
    uni = (*page)[raw[1]];
    return uni != 0 ? s_pairBytes : -1;
}

int encode(unsigned short uni, unsigned char* out, int boundLen) {
    if (boundLen < 1) return -1;
    const EncodePage* const page = u2cPages[uni >> 8];
    if (page == nullptr) {
        if (uni >= 0x100 || uni == 0) return -1;
        out[0] = static_cast<unsigned char>(uni);
        return 1;
    }
    if (boundLen < s_pairBytes) return -1;
    const BytePair code = (*page)[uni & 255];
    out[0] = code.lead;
    out[1] = code.trail;
    return code.lead != 0 ? s_pairBytes : -1;
}

}  // namespace

int char2uni(const unsigned char* raw, int boundLen, unsigned short* uni) {
    return decode(raw, boundLen, *uni);
}

int uni2char(unsigned short uni, unsigned char* out, int boundLen) {
    return encode(uni, out, boundLen);
}

int Gb2312ToUni(char* src, unsigned short* dst, int dstLen) {
    if (src == nullptr || dst == nullptr || dstLen < 1) return 0;
    const unsigned char* from = bytesOf(src);
    int count = 0;
    for (; *from != 0 && count < dstLen; ++count) {
        // The zero behind the text is no trail byte, so a lead byte in front of it stands alone.
        const int used = decode(from, s_pairBytes, dst[count]);
        if (used < 0) dst[count] = s_replacement;
        from += used < 0 ? s_pairBytes : used;
    }
    std::fill(dst + count, dst + dstLen, static_cast<unsigned short>(0));
    return count;
}

int UniTGb2312(unsigned short* src, int srcLen, char* dst, int dstLen) {
    if (dstLen > 0) std::memset(dst, 0, static_cast<std::size_t>(dstLen));
    int count = 0;
    for (int room = dstLen; count < srcLen && src[count] != 0; ++count) {
        unsigned char code[s_pairBytes];
        const int length = encode(src[count], code, s_pairBytes);
        if (length < 0) return -1;
        if (length > room) break;
        for (int i = 0; i < length; ++i) *dst++ = static_cast<char>(code[i]);
        *dst = '\0';
        room -= length;
    }
    return count;
}

int Gb2312TUtf8(char* src, unsigned char* dst, int dstLen) {
    if (src == nullptr || dst == nullptr || *src == '\0') return 0;
    const std::size_t most = std::strlen(src) + 1;
    const Units units = newUnits(most);
    if (units == nullptr) return 0;
    if (dstLen > 0) std::memset(dst, 0, static_cast<std::size_t>(dstLen));
    Gb2312ToUni(src, units.get(), static_cast<int>(most));
    return utf8_wcstombs(dst, units.get(), dstLen);
}

int utf8TGb2312(unsigned char* src, char* dst, int srcLen, int dstLen) {
    if (src == nullptr || dst == nullptr || *src == 0) return 0;
    const Units units = newUnits(std::strlen(reinterpret_cast<const char*>(src)) + 1);
    if (units == nullptr) return 0;
    const int count = utf8_mbstowcs(units.get(), src, srcLen);
    return UniTGb2312(units.get(), count, dst, dstLen);
}

}  // namespace Tovra::Utils
