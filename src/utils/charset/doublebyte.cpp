#include <algorithm>
#include <cstddef>
#include <cstring>

#include "utils/charset/codepage936.h"
#include "utils/charset/utf8.h"
#include "vesko/utils/charset.h"

namespace Tovra::Utils {

namespace {

constexpr unsigned short s_replacement = 0xFFFD;
constexpr int s_pairBytes = 2;

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

// Takes the next character of a text that ends with a zero. That is no trail byte: a lead byte in
// front of it stands alone.
unsigned short takeCharacter(const unsigned char*& from) {
    const DecodePage* const page = c2uPages[from[0]];
    if (page == nullptr || from[1] == 0) return c2uSingle[*from++];
    const unsigned short uni = (*page)[from[1]];
    from += s_pairBytes;
    return uni != 0 ? uni : s_replacement;
}

// Fills up what a text has left of its room, however little.
void clear(void* rest, int room) {
    if (room > 0) std::memset(rest, 0, static_cast<std::size_t>(room));
}

// Text under way. At its end zeros fill up the room, and one stands behind a text that fills it.
class Writer {
public:
    enum Outcome { added, full, unknown };

    Writer(char* dst, int dstLen) : m_to(dst), m_room(dstLen) {}
    ~Writer() {
        clear(m_to, m_room);
        if (m_isBegun) *m_to = '\0';
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    Outcome add(unsigned short uni) {
        unsigned char code[s_pairBytes];
        const int length = encode(uni, code, s_pairBytes);
        if (length < 0) return unknown;
        if (length > m_room) return full;
        m_to[0] = static_cast<char>(code[0]);
        if (length == s_pairBytes) m_to[1] = static_cast<char>(code[1]);
        m_to += length;
        m_room -= length;
        m_isBegun = true;
        return added;
    }

private:
    char* m_to;
    int m_room;
    bool m_isBegun = false;
};

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
    while (*from != 0 && count < dstLen) dst[count++] = takeCharacter(from);
    std::fill(dst + count, dst + dstLen, static_cast<unsigned short>(0));
    return count;
}

int UniTGb2312(unsigned short* src, int srcLen, char* dst, int dstLen) {
    Writer text(dst, dstLen);
    int count = 0;
    while (count < srcLen && src[count] != 0) {
        const Writer::Outcome outcome = text.add(src[count]);
        if (outcome == Writer::unknown) return -1;
        if (outcome == Writer::full) break;
        ++count;
    }
    return count;
}

// The two below go through no units: one pass writes what two would.

int Gb2312TUtf8(char* src, unsigned char* dst, int dstLen) {
    if (src == nullptr || dst == nullptr || *src == '\0') return 0;
    unsigned char* const end = dst + std::max(dstLen, 0);
    unsigned char* to = dst;
    for (const unsigned char* from = bytesOf(src); *from != 0 && dstLen > 0;) {
        const int length = encodeUtf8(to, takeCharacter(from), dstLen);
        if (length > 0) to += length;
        dstLen -= length > 0 ? length : 1;
    }
    clear(to, static_cast<int>(end - to));
    return static_cast<int>(to - dst);
}

int utf8TGb2312(unsigned char* src, char* dst, int srcLen, int dstLen) {
    if (src == nullptr || dst == nullptr || *src == 0) return 0;
    Writer text(dst, dstLen);
    int count = 0;
    while (srcLen > 0 && *src != 0) {
        unsigned short uni = 0;
        const int length = decodeUtf8(uni, src, srcLen);
        src += length > 0 ? length : 1;
        srcLen -= length > 0 ? length : 1;
        if (length < 0) continue;
        if (uni == 0) break;  // what was cut to 16 bits may end the text
        const Writer::Outcome outcome = text.add(uni);
        if (outcome == Writer::unknown) return -1;
        if (outcome == Writer::full) break;
        ++count;
    }
    return count;
}

}  // namespace Tovra::Utils
