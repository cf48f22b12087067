#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vesko/utils/charset.h"

using namespace Tovra::Utils;

namespace {

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

void require(bool condition) {
    if (!condition) std::abort();
}

// Buffers are as large as they are told to be, so that the sanitizer sees a byte too many.
struct Input {
    Bytes bytes;
    int size;  // of `bytes`
    int room;  // of what is written

    Bytes ended() const {
        Bytes text = bytes;
        text.push_back(0);
        return text;
    }
};

Bytes roomFor(int size) { return Bytes(static_cast<std::size_t>(size)); }

void convertChinese(const Input& input) {
    Bytes text = input.ended();
    char* const chars = reinterpret_cast<char*>(text.data());
    Units units(static_cast<std::size_t>(input.room));
    const int count = Gb2312ToUni(chars, units.data(), input.room);
    require(count >= 0 && count <= input.room);
    Bytes utf8 = roomFor(input.room);
    const int length = Gb2312TUtf8(chars, utf8.data(), input.room);
    require(length >= 0 && length <= input.room);
    Bytes back = roomFor(input.room + 1);
    utf8TGb2312(text.data(), reinterpret_cast<char*>(back.data()), input.size, input.room);

    unsigned short uni = 0;
    const int used = char2uni(input.bytes.data(), input.size, &uni);
    require(used == -1 || (used <= 2 && used <= input.size));
}

void convertUnits(const Input& input) {
    Units units(input.bytes.size() / 2);
    if (!units.empty()) std::memcpy(units.data(), input.bytes.data(), 2 * units.size());
    const int size = static_cast<int>(units.size());
    Bytes text = roomFor(input.room + 1);
    const int count =
        UniTGb2312(units.data(), size, reinterpret_cast<char*>(text.data()), input.room);
    require(count >= -1 && count <= size);
    for (const unsigned short unit : units) {
        Bytes one = roomFor(input.room % 4);
        const int length = utf8_wctomb(one.data(), unit, input.room % 4);
        require(length >= -1 && length <= input.room % 4);
        Bytes pair = roomFor(input.room % 3);
        uni2char(unit, pair.data(), input.room % 3);
    }
    units.push_back(0);
    Bytes utf8 = roomFor(input.room);
    require(utf8_wcstombs(utf8.data(), units.data(), input.room) <= input.room);
}

void convertUtf8(const Input& input) {
    const Bytes text = input.ended();
    Units units(input.bytes.size());
    require(utf8_mbstowcs(units.data(), text.data(), input.size) <= input.size);
    unsigned short unit = 0;
    if (input.size > 0) require(utf8_mbtowc(&unit, input.bytes.data(), input.size) <= input.size);
    int length = -1;
    GetUnicodeFromUtf8(reinterpret_cast<const char*>(text.data()), &length);
    require(length >= 0 && length <= 3);
}

void convertSingleBytes(const Input& input) {
    constexpr int (*family[])(unsigned char*, int&, const unsigned char*, int&) = {
        cp862_to_utf8,     cp874_to_utf8,      cp1250_to_utf8,     cp1251_to_utf8,
        iso8859_1_to_utf8, iso8859_6_to_utf8,  iso8859_7_to_utf8,  iso8859_8_to_utf8,
        iso8859_9_to_utf8, iso8859_10_to_utf8, iso8859_14_to_utf8, iso8859_16_to_utf8};
    for (const auto convert : family) {
        Bytes utf8 = roomFor(input.room);
        int room = input.room;
        int size = input.size;
        const int result = convert(utf8.data(), room, input.bytes.data(), size);
        require(result == 0 ? room <= input.room && size <= input.size
                            : room == input.room && size == input.size);
    }
    Bytes utf8 = roomFor(input.room);
    const int needed = cp1252_to_utf8(utf8.data(), input.room, input.bytes.data(), input.size);
    require(needed == 0 || needed == -1 || needed > input.room);
    Bytes text = roomFor(input.room);
    require(utf8_to_cp1252(input.bytes.data(), input.size, text.data(), input.room) <= input.room);
}

}  // namespace

// The first byte is the room for what is written, the rest is converted.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const Input input{Bytes(data + 1, data + size), static_cast<int>(size - 1), data[0]};
    convertChinese(input);
    convertUnits(input);
    convertUtf8(input);
    convertSingleBytes(input);
    return 0;
}
