#include "utils/charset/utf8.h"

#include "vesko/utils/charset.h"

namespace Tovra::Utils {

int utf8_mbtowc(unsigned short* p, const unsigned char* s, int n) { return decodeUtf8(*p, s, n); }

int utf8_mbstowcs(unsigned short* pwcs, const unsigned char* s, int n) {
    unsigned short* to = pwcs;
    while (n > 0 && *s != 0) {
        int used = 1;
        if (*s < 0x80) {
            *to++ = *s;
        } else if (const int length = decodeUtf8(*to, s, n); length > 0) {
            ++to;
            used = length;
        }
        s += used;
        n -= used;
    }
    return static_cast<int>(to - pwcs);
}

int utf8_wctomb(unsigned char* s, unsigned short wc, int maxlen) {
    return s != nullptr ? encodeUtf8(s, wc, maxlen) : 0;
}

int utf8_wcstombs(unsigned char* s, const unsigned short* pwcs, int maxlen) {
    unsigned char* to = s;
    for (; maxlen > 0 && *pwcs != 0; ++pwcs) {
        const int length = encodeUtf8(to, *pwcs, maxlen);
        if (length > 0) to += length;
        maxlen -= length > 0 ? length : 1;
    }
    return static_cast<int>(to - s);
}

unsigned short GetUnicodeFromUtf8(const char* utf8, int* length) {
    *length = 0;
    std::uint32_t value = 0;
    int pending = 0;
    for (;; ++utf8) {
        const auto byte = static_cast<unsigned char>(*utf8);
        if (byte == 0) return 0;
        if (byte >= 0x80 && byte < 0xC0) {
            if (pending == 0) return 0;
            --pending;
            value |= (byte & 0x3FU) << (6 * pending);
            if (pending == 0) break;
            continue;
        }
        if (pending != 0 || byte >= 0xF0) break;
        if (byte < 0x80) {
            *length = 1;
            return byte;
        }
        pending = byte >= 0xE0 ? 2 : 1;
        *length = pending + 1;
        value = pending == 2 ? (byte & 0x0FU) << 12 : (byte & 0x1FU) << 6;
    }
    return static_cast<unsigned short>(value);
}

}  // namespace Tovra::Utils
