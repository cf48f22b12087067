// The tables by their digests, glibc as an oracle, and how each function meets bad input.

#include "vesko/utils/charset.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace Tovra::Utils;
using Units = std::vector<unsigned short>;

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

int sizeOf(const std::string& text) { return static_cast<int>(text.size()); }

// SHA-256 of the values as they lie in memory, the lower byte first.
std::string digestOf(const Units& values) {
    unsigned char digest[32];
    EVP_Digest(values.data(), 2 * values.size(), digest, nullptr, EVP_sha256(), nullptr);
    std::string text(64, '\0');
    for (std::size_t i = 0; i < 32; ++i) std::snprintf(&text[2 * i], 3, "%02x", digest[i]);
    return text;
}

std::string byPeer(const char* to, const char* from, std::string text) {
    const iconv_t converter = ::iconv_open(to, from);
    std::string result(4 * text.size() + 16, '\0');
    char* in = text.data();
    char* out = result.data();
    std::size_t left = text.size();
    std::size_t room = result.size();
    EXPECT_NE(::iconv(converter, &in, &left, &out, &room), static_cast<std::size_t>(-1)) << to;
    ::iconv_close(converter);
    result.resize(result.size() - room);
    return result;
}

TEST(CodePage936, DecodesEveryPairAndSingleByte) {
    Units pairs;
    Units singles;
    for (int code = 0; code < 0x10000; ++code) {
        const unsigned char raw[] = {static_cast<unsigned char>(code >> 8),
                                     static_cast<unsigned char>(code)};
        const bool isLead = raw[0] > 0x80 && raw[0] < 0xFF;
        unsigned short uni = 1;
        const int used = char2uni(raw, 2, &uni);
        EXPECT_EQ(used, !isLead || raw[1] == 0 ? 1 : uni != 0 ? 2 : -1) << code;
        if (isLead) pairs.push_back(raw[1] != 0 ? uni : 0);
        if (raw[1] != 0) continue;  // a zero is no trail byte
        singles.push_back(uni);
        EXPECT_EQ(char2uni(raw, 0, &uni), -1);
    }
    EXPECT_EQ(digestOf(pairs), "084a1ebd5f561e530494185688316ac0410ebe3780663c81e3777b57e198b547");
    EXPECT_EQ(digestOf(singles),
              "44c72a315eb677033ed089661229e1901a533c2d349b40c5fb42904fb0e2e35e");
}

TEST(CodePage936, EncodesEveryCharacter) {
    Units table;
    unsigned char out[2];
    for (int uni = 0; uni < 0x10000; ++uni) {
        out[0] = out[1] = 0;
        const int length = uni2char(static_cast<unsigned short>(uni), out, 2);
        const bool isPair = uni >= 0x100;
        EXPECT_EQ(length, out[0] == 0 ? -1 : isPair ? 2 : 1);
        EXPECT_TRUE(isPair || out[0] == uni);
        table.push_back(isPair ? static_cast<unsigned short>(out[0] | out[1] << 8) : 0);
    }
    EXPECT_EQ(digestOf(table), "c74ed6c906e8375e41a861baf8ee02dfe2a46429f4e08d52ccc4079be8fb3f91");
    EXPECT_EQ(uni2char(0x4E2D, out, 1), -1);
    EXPECT_EQ(uni2char('A', out, 0), -1);
}

TEST(CodePage936, ConvertsTextsAsThePeerDoes) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        std::string text;
        int count = 0;
        for (std::size_t tries = random() % 200; tries > 0; --tries) {
            const auto uni = static_cast<unsigned short>(
                random() % 3 == 0 ? random() % 127 + 1 : 0x4E00 + random() % 0x5000);
            unsigned char code[2];
            const int length = uni2char(uni, code, 2);
            for (int i = 0; i < length; ++i) text += static_cast<char>(code[i]);
            count += length > 0 ? 1 : 0;
        }
        std::string utf8 = byPeer("UTF-8", "CP936", text);
        std::string result(utf8.size() + 1, '#');
        ASSERT_EQ(Gb2312TUtf8(text.data(), bytesOf(result), sizeOf(result)), sizeOf(utf8));
        ASSERT_EQ(result, text.empty() ? "#" : utf8 + '\0');
        result.assign(text.size() + 1, '#');
        ASSERT_EQ(utf8TGb2312(bytesOf(utf8), result.data(), sizeOf(utf8), sizeOf(text)), count);
        ASSERT_EQ(result, text.empty() ? "#" : text + '\0');
    }
}

TEST(CodePage936, StepsPastUndefinedPairsAndStopsAtUnknownCharacters) {
    char text[] = "A\x81\x20\xD6\xD0\xD6";  // an undefined pair; a lead byte alone at the end
    Units units(8, 7);
    EXPECT_EQ(Gb2312ToUni(text, units.data(), 8), 4);
    EXPECT_EQ(units, (Units{'A', 0xFFFD, 0x4E2D, 0xD6, 0, 0, 0, 0}));
    EXPECT_EQ(Gb2312ToUni(text, units.data(), 2), 2);
    const std::tuple<Units, int, int, int, std::string> cases[] = {
        {{'A', 0x4E2D, 'B'}, 3, 5, 3, {"A\xD6\xD0\x42\0#", 6}},
        {{'A', 0x4E2D, 'B'}, 3, 2, 1, {"A\0####", 6}},
        {{'A', 0, 'B'}, 3, 4, 1, {"A\0\0\0##", 6}},
        {{'A', 0x20AC, 'B'}, 3, 4, -1, {"A\0\0\0##", 6}}};
    for (auto [source, length, room, result, expected] : cases) {
        std::string dst(6, '#');
        EXPECT_EQ(UniTGb2312(source.data(), length, dst.data(), room), result);
        EXPECT_EQ(dst, expected);
    }
}

TEST(Utf8, EncodesWhatItDecodes) {
    for (int uni = 0; uni < 0x10000; ++uni) {
        const auto character = static_cast<unsigned short>(uni);
        char text[4] = "";
        auto* const bytes = reinterpret_cast<unsigned char*>(text);
        const int length = uni < 0x80 ? 1 : uni < 0x800 ? 2 : 3;
        ASSERT_EQ(utf8_wctomb(bytes, character, length - 1), -1);
        ASSERT_EQ(utf8_wctomb(bytes, character, length), length);
        unsigned short back = 0;
        ASSERT_EQ(utf8_mbtowc(&back, bytes, length), length);
        ASSERT_EQ(back, character);
        ASSERT_EQ(utf8_mbtowc(&back, bytes, length - 1), length > 1 ? -1 : 1);
        int told = -1;
        ASSERT_EQ(GetUnicodeFromUtf8(text, &told), character);
        ASSERT_EQ(told, uni > 0 ? length : 0);
    }
}

TEST(Utf8, DecodesLongFormsAndRefusesWhatIsNone) {
    unsigned short unit = 7;
    for (const char* const text : {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\x80",
                                   "\xC3\xC3", "\xE4\xB8", "\xFE\x80\x80\x80\x80\x80\x80"}) {
        EXPECT_EQ(utf8_mbtowc(&unit, bytesOf(text), 7), -1);
        EXPECT_EQ(unit, 7);
    }
    const std::pair<std::string, int> longForms[] = {
        {"\xF0\x9F\x98\x80", 0xF600}, {"\xF8\x88\x80\x80\x81", 1}, {"\xFC\x84\x80\x80\x80\x82", 2}};
    for (const auto& [text, character] : longForms) {
        EXPECT_EQ(utf8_mbtowc(&unit, bytesOf(text), sizeOf(text)), sizeOf(text));
        EXPECT_EQ(unit, character);
        EXPECT_EQ(utf8_mbtowc(&unit, bytesOf(text), sizeOf(text) - 1), -1);
    }
}

TEST(Utf8, LeavesOutWhatIsBadOrDoesNotFit) {
    const Units units = {'A', 0x4E2D, 'B', 'C', 0};
    // A character that does not fit costs one byte of the room for those behind it.
    const char* const expected[] = {"", "A", "A", "AB", "A\xE4\xB8\xAD", "A\xE4\xB8\xAD\x42"};
    for (int room = 0; room < 6; ++room) {
        std::string text(8, '#');
        const int written = utf8_wcstombs(bytesOf(text), units.data(), room);
        EXPECT_EQ(text.substr(0, static_cast<std::size_t>(written)), expected[room]);
        EXPECT_EQ(text.find('#'), static_cast<std::size_t>(written));
    }
    Units decoded(4, 7);
    EXPECT_EQ(utf8_mbstowcs(decoded.data(), bytesOf("A\xFF\xC3\x42\xE4\xB8"), 6), 2);
    EXPECT_EQ(decoded, (Units{'A', 'B', 7, 7}));
    EXPECT_EQ(utf8_mbstowcs(decoded.data(), bytesOf("AB"), 1), 1);
}

TEST(Utf8, FirstCharacterIsWhatThereIsOfIt) {
    const char* const texts[] = {"\xF0\x9F", "\xC3\x41", "\x80", "\xE4\xB8", "\xE4\xB8\xC3"};
    const std::pair<int, int> expected[] = {{0, 0}, {0xC0, 2}, {0, 0}, {0, 3}, {0x4E00, 3}};
    for (int i = 0; i < 5; ++i) {
        int told = -1;
        EXPECT_EQ(GetUnicodeFromUtf8(texts[i], &told), expected[i].first);
        EXPECT_EQ(told, expected[i].second);
    }
}

TEST(Windows1252, ConvertsBothWays) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        if (std::strchr("\x81\x8D\x8F\x90\x9D", byte) == nullptr) all += static_cast<char>(byte);
    }
    const std::string expected = byPeer("UTF-8", "WINDOWS-1252", all);
    const int size = sizeOf(expected);
    std::string utf8(expected.size(), '#');
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), size - 1, bytesOf(all), sizeOf(all)), size);
    EXPECT_EQ(utf8, std::string(expected.size(), '#'));
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), size, bytesOf(all), sizeOf(all)), 0);
    EXPECT_EQ(utf8, expected);

    std::string back(all.size(), '#');
    EXPECT_EQ(utf8_to_cp1252(bytesOf(utf8), size, bytesOf(back), sizeOf(back)), sizeOf(all) - 1);
    all.back() = '#';  // the last byte is never found
    EXPECT_EQ(back, all);
}

TEST(Windows1252, EndsAtUndefinedBytesAndAtBadSequences) {
    std::string utf8(3, '#');
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 3, bytesOf("A\x81\x42"), 3), 0);
    EXPECT_EQ(utf8, std::string("A\0\0", 3));
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 3, nullptr, 1), -1);

    const auto converted = [](const std::string& text) {
        std::string dst(4, '#');
        const int length = utf8_to_cp1252(bytesOf(text), sizeOf(text), bytesOf(dst), 4);
        return dst.substr(0, static_cast<std::size_t>(length));
    };
    for (const char* const text : {"A\x80\x42", "A\xC3\x42", "A\xC3", "\xC1\x81"}) {
        EXPECT_EQ(converted(text), "A");
    }
    EXPECT_EQ(converted("A\xE4\xB8\xAD\x42"), "AB");
    EXPECT_EQ(converted("ABCDE"), "ABCD");
}

TEST(SingleBytePages, HoldTheirCharacters) {
    Units table;
    for (const auto toUtf8 :
         {cp862_to_utf8, cp874_to_utf8, cp1250_to_utf8, cp1251_to_utf8, iso8859_1_to_utf8,
          iso8859_2_to_utf8, iso8859_3_to_utf8, iso8859_4_to_utf8, iso8859_5_to_utf8,
          iso8859_6_to_utf8, iso8859_7_to_utf8, iso8859_8_to_utf8, iso8859_9_to_utf8,
          iso8859_10_to_utf8, iso8859_13_to_utf8, iso8859_14_to_utf8, iso8859_15_to_utf8,
          iso8859_16_to_utf8}) {
        for (int byte = 0; byte < 256; ++byte) {
            const unsigned char src[3] = {static_cast<unsigned char>(byte)};
            unsigned char dst[3];
            int size = 3;
            int used = 3;  // the zeros behind the byte are left out
            EXPECT_EQ(toUtf8(dst, size, src, used), 0);
            EXPECT_EQ(used, 3);
            unsigned short uni = 0;
            EXPECT_TRUE(size == 0 || utf8_mbtowc(&uni, dst, size) == size);
            table.push_back(uni);
        }
    }
    EXPECT_EQ(digestOf(table), "3b247ce4168be8bdb6f8cd34ab26130dd7709bc3d56ffe93b192810096a176db");
}

TEST(SingleBytePages, GoOnWhereTheRoomEnded) {
    const unsigned char src[] = {0xE9, 0xE9, 0xE9};
    unsigned char dst[4] = {0, 0, '#', '#'};
    int room = 3;
    int length = 3;
    EXPECT_EQ(iso8859_1_to_utf8(dst, room, src, length), 0);
    EXPECT_EQ(std::pair(length, room), std::pair(1, 2));           // used and written
    EXPECT_EQ(iso8859_1_to_utf8(dst, room, src, length = 3), -1);  // refused: nothing changes
    EXPECT_EQ(iso8859_1_to_utf8(nullptr, room, src, length), -1);
    EXPECT_EQ(std::pair(length, room), std::pair(3, 2));
    EXPECT_EQ(dst[2], '#');
}

}  // namespace
