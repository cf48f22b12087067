// The tables by their digests, glibc as an oracle, and the way in which each function meets bad input.

#include "vesko/utils/charset.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace Tovra::Utils {

namespace {

using Units = std::vector<unsigned short>;

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

int sizeOf(const std::string& text) { return static_cast<int>(text.size()); }

std::string firstOf(const std::string& text, int length) {
    return text.substr(0, static_cast<std::size_t>(length));
}

// SHA-256 of 16-bit values, lower byte first.
std::string digestOf(const Units& values) {
    std::string bytes;
    for (const unsigned short value : values) {
        bytes += static_cast<char>(value & 255);
        bytes += static_cast<char>(value >> 8);
    }
    unsigned char digest[32];
    EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr);
    std::string text;
    for (const unsigned char byte : digest) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", byte);
        text += digits;
    }
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

TEST(CodePage936, DecodesEveryPair) {
    Units table;
    for (int code = 0x8100; code < 0xFF00; ++code) {
        const unsigned char raw[] = {static_cast<unsigned char>(code >> 8),
                                     static_cast<unsigned char>(code)};
        unsigned short uni = 1;
        const int used = char2uni(raw, 2, &uni);
        if (raw[1] == 0) {
            EXPECT_EQ(used, 1) << "a zero is no trail byte";
            uni = 0;
        } else {
            EXPECT_EQ(used, uni != 0 ? 2 : -1);
        }
        table.push_back(uni);
    }
    EXPECT_EQ(digestOf(table), "084a1ebd5f561e530494185688316ac0410ebe3780663c81e3777b57e198b547");
}

TEST(CodePage936, DecodesSingleBytes) {
    Units table;
    for (int byte = 0; byte < 256; ++byte) {
        const bool isLead = byte > 0x80 && byte < 0xFF;
        const unsigned char raw[] = {static_cast<unsigned char>(byte), 'x'};
        unsigned short uni = 1;
        EXPECT_EQ(char2uni(raw, 1, &uni), 1);
        table.push_back(uni);
        EXPECT_TRUE(isLead || char2uni(raw, 2, &uni) == 1) << byte;
        EXPECT_EQ(uni, table.back());
        EXPECT_EQ(char2uni(raw, 0, &uni), -1);
    }
    EXPECT_EQ(digestOf(table), "44c72a315eb677033ed089661229e1901a533c2d349b40c5fb42904fb0e2e35e");
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
    EXPECT_EQ(uni2char('A', out, 1), 1);
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
    units.assign(4, 7);
    EXPECT_EQ(Gb2312ToUni(text, units.data(), 2), 2);
    EXPECT_EQ(units, (Units{'A', 0xFFFD, 7, 7}));
    EXPECT_EQ(Gb2312ToUni(nullptr, units.data(), 2), 0);
    EXPECT_EQ(Gb2312ToUni(text, nullptr, 2), 0);
    EXPECT_EQ(Gb2312ToUni(text, units.data(), 0), 0);

    const std::tuple<Units, int, int, int, std::string> cases[] = {
        {{'A', 0x4E2D, 'B'}, 3, 5, 3, {"A\xD6\xD0\x42\0#", 6}},
        {{'A', 0x4E2D, 'B'}, 3, 2, 1, {"A\0####", 6}},
        {{'A', 0x4E2D, 'B'}, 2, 5, 2, {"A\xD6\xD0\0\0#", 6}},
        {{'A', 0, 'B'}, 3, 4, 1, {"A\0\0\0##", 6}},
        {{'A', 0x20AC, 'B'}, 3, 4, -1, {"A\0\0\0##", 6}},
        {{'A'}, 1, 0, 0, "######"}};
    for (auto [source, length, room, result, expected] : cases) {
        std::string dst(6, '#');
        EXPECT_EQ(UniTGb2312(source.data(), length, dst.data(), room), result);
        EXPECT_EQ(dst, expected);
    }
}

TEST(CodePage936, RefusesTextThatIsNotThere) {
    char text[] = "x";
    unsigned char bytes[] = "x";
    std::string dst(3, '#');
    EXPECT_EQ(Gb2312TUtf8(nullptr, bytesOf(dst), 3), 0);
    EXPECT_EQ(Gb2312TUtf8(text, nullptr, 3), 0);
    EXPECT_EQ(utf8TGb2312(nullptr, dst.data(), 1, 1), 0);
    EXPECT_EQ(utf8TGb2312(bytes, nullptr, 1, 1), 0);
    text[0] = '\0';
    bytes[0] = 0;
    EXPECT_EQ(Gb2312TUtf8(text, bytesOf(dst), 3), 0);
    EXPECT_EQ(utf8TGb2312(bytes, dst.data(), 1, 1), 0);
    EXPECT_EQ(dst, "###");
}

TEST(Utf8, DecodesOneCharacterInAnyForm) {
    const std::tuple<std::string, int, int, int> cases[] = {
        {"A", 1, 1, 'A'},
        {"A", 0, 1, 'A'},  // the first byte is read in any case
        {"\xC3\xA9", 2, 2, 0xE9},
        {"\xE4\xB8\xAD", 3, 3, 0x4E2D},
        {"\xE4\xB8\xAD", 2, -1, 0},
        {"\xF0\x9F\x98\x80", 4, 4, 0xF600},
        {"\xF8\x88\x80\x80\x81", 5, 5, 1},
        {"\xFC\x84\x80\x80\x80\x82", 6, 6, 2},
        {"\xC1\xBF", 2, -1, 0},
        {"\xE0\x9F\xBF", 3, -1, 0},
        {"\xF0\x8F\xBF\xBF", 4, -1, 0},
        {"\x80", 1, -1, 0},
        {"\xFE\x80\x80\x80\x80\x80\x80", 7, -1, 0},
        {"\xC3\xC3", 2, -1, 0},
        {{"\xE4\xB8\0", 3}, 3, -1, 0}};
    for (const auto& [text, size, used, character] : cases) {
        unsigned short unit = 7;
        EXPECT_EQ(utf8_mbtowc(&unit, bytesOf(text), size), used);
        EXPECT_EQ(unit, used < 0 ? 7 : character);
    }
}

TEST(Utf8, EncodesWhatItDecodes) {
    for (int uni = 0; uni < 0x10000; ++uni) {
        const auto character = static_cast<unsigned short>(uni);
        unsigned char bytes[3];
        const int length = uni < 0x80 ? 1 : uni < 0x800 ? 2 : 3;
        ASSERT_EQ(utf8_wctomb(bytes, character, length - 1), -1);
        ASSERT_EQ(utf8_wctomb(bytes, character, length), length);
        unsigned short back = 0;
        ASSERT_EQ(utf8_mbtowc(&back, bytes, length), length);
        ASSERT_EQ(back, character);
    }
    EXPECT_EQ(utf8_wctomb(nullptr, 'A', 3), 0);
}

TEST(Utf8, LeavesOutWhatIsBadOrDoesNotFit) {
    const Units units = {'A', 0x4E2D, 0xE9, 'B', 'C', 0};
    // A character that does not fit costs one byte of the room for those behind it.
    const char* const expected[] = {"", "A", "A", "A", "A\xE4\xB8\xAD", "A\xE4\xB8\xAD"};
    for (int room = 0; room < 6; ++room) {
        std::string text(8, '#');
        const int written = utf8_wcstombs(bytesOf(text), units.data(), room);
        EXPECT_EQ(firstOf(text, written), expected[room]) << room;
        EXPECT_EQ(text.find_first_not_of('#', static_cast<std::size_t>(written)),
                  std::string::npos);
    }
    Units decoded(4, 7);
    EXPECT_EQ(utf8_mbstowcs(decoded.data(), bytesOf("A\xFF\xC3\x42\xE4\xB8"), 6), 2);
    EXPECT_EQ(decoded, (Units{'A', 'B', 7, 7}));
    EXPECT_EQ(utf8_mbstowcs(decoded.data(), bytesOf("AB"), 1), 1);
}

TEST(Utf8, FirstCharacterTellsItsLength) {
    const std::tuple<const char*, int, int> cases[] = {{"\xC3\xA9", 0xE9, 2},
                                                       {"\xE4\xB8\xAD", 0x4E2D, 3},
                                                       {"\xF0\x9F\x98\x80", 0, 0},
                                                       {"\xC3\x41", 0xC0, 2},
                                                       {"", 0, 0},
                                                       {"AB", 'A', 1},
                                                       {"\x80", 0, 0},
                                                       {"\xE4", 0, 3},
                                                       {"\xE4\xB8", 0, 3},
                                                       {"\xE4\xB8\xC3", 0x4E00, 3},
                                                       {"\xE4\x41", 0x4000, 3},
                                                       {"\xC3\xC3", 0xC0, 2}};
    for (const auto& [text, character, length] : cases) {
        int told = -1;
        EXPECT_EQ(GetUnicodeFromUtf8(text, &told), character);
        EXPECT_EQ(told, length);
    }
}

TEST(Windows1252, ConvertsBothWays) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
    std::erase_if(all, [](char byte) {
        return std::string("\x81\x8D\x8F\x90\x9D").find(byte) != std::string::npos;
    });
    const std::string expected = byPeer("UTF-8", "WINDOWS-1252", all);
    std::string utf8(expected.size(), '#');
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), sizeOf(utf8) - 1, bytesOf(all), sizeOf(all)),
              sizeOf(utf8));
    EXPECT_EQ(utf8, std::string(expected.size(), '#'));
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), sizeOf(utf8), bytesOf(all), sizeOf(all)), 0);
    EXPECT_EQ(utf8, expected);

    std::string back(all.size(), '#');
    EXPECT_EQ(utf8_to_cp1252(bytesOf(utf8), sizeOf(utf8), bytesOf(back), sizeOf(back)),
              sizeOf(all) - 1);
    EXPECT_EQ(back, firstOf(all, sizeOf(all) - 1) + '#') << "the last byte is never found";
}

TEST(Windows1252, EndsAtUndefinedBytesAndAtBadSequences) {
    std::string utf8(3, '#');
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 3, bytesOf("A\x81\x42"), 3), 0);
    EXPECT_EQ(utf8, std::string("A\0\0", 3));
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 2, bytesOf("\x80"), 1), 3);
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 3, nullptr, 1), -1);
    EXPECT_EQ(cp1252_to_utf8(bytesOf(utf8), 3, bytesOf("A"), 0), -1);

    const std::pair<std::string, std::string> cases[] = {{"\xE2\x82\xAC", "\x80"},
                                                         {"\xC3\xBF", ""},
                                                         {"A\xE4\xB8\xAD\x42", "AB"},
                                                         {"A\xC2\x81\x42", "A\x81\x42"},
                                                         {"A\x80\x42", "A"},
                                                         {"A\xC3\x42", "A"},
                                                         {"A\xC3", "A"},
                                                         {"\xC1\x81", "A"},
                                                         {"\xFC\x80\x80\x80\x81\x81", "A"},
                                                         {{"A\0B", 3}, {"A\0B", 3}},
                                                         {"ABCDE", "ABCD"}};
    for (const auto& [text, expected] : cases) {
        std::string dst(4, '#');
        const int written = utf8_to_cp1252(bytesOf(text), sizeOf(text), bytesOf(dst), 4);
        EXPECT_EQ(firstOf(dst, written), expected);
    }
}

struct SingleBytePage {
    const char* name;
    int (*toUtf8)(unsigned char*, int&, const unsigned char*, int&);
    const char* digest;
};
constexpr SingleBytePage s_pages[] = {
    {"cp862", cp862_to_utf8, "c51479ae3b3d2c9628f4378c21f54d36988535cf16b40642f016a31743c7161f"},
    {"cp874", cp874_to_utf8, "0ee1e9d3359e57c1d947f325dbac5bd085322e05270261ccb1e415d026ef2ceb"},
    {"cp1250", cp1250_to_utf8, "a783d94ce1a00d7bc295d341e61bddfc94fd112132678f906513452c6daecc65"},
    {"cp1251", cp1251_to_utf8, "f637e1081ca61f05cf01f8c09d2b118e9cd5b875e55ba0e8aa0b98512b591205"},
    {"iso8859_1", iso8859_1_to_utf8,
     "d93bf0591d37628e5f4aabec5c1969b05014fe5a19478ba3a1c7f2799e6dc84f"},
    {"iso8859_2", iso8859_2_to_utf8,
     "03e630b7e35444b546565156e0253b06ed655d3edd1c8dabc388819eba554961"},
    {"iso8859_3", iso8859_3_to_utf8,
     "97dd61ecec9f934950bcad83c9779f35b492d0024a2de07021a7450e39546a6c"},
    {"iso8859_4", iso8859_4_to_utf8,
     "44f09aebdda359eda50f9414a78a7a024c832c7d4e65557aba13a1e79a3b2e05"},
    {"iso8859_5", iso8859_5_to_utf8,
     "be700802ceb4c3bc081665425ad745cea44341bc66e31095d9c2bb65452976b8"},
    {"iso8859_6", iso8859_6_to_utf8,
     "d5a24e4ecb32e14a0423d09d4296c195402f579f4f2eef7790a1a2a2a4d341a9"},
    {"iso8859_7", iso8859_7_to_utf8,
     "8844fa49977ccad5fd3a624a4c4fea5ba509a22610e0534eefda906d7516de8c"},
    {"iso8859_8", iso8859_8_to_utf8,
     "28ea37c38973545b87f683802ee69e94c481714e77a4ce412d2e171b1032dec4"},
    {"iso8859_9", iso8859_9_to_utf8,
     "253e4a8d3daac345ff76be63abf3b030b4a690429258c07927874207ca8889ae"},
    {"iso8859_10", iso8859_10_to_utf8,
     "fc5b337200036399cfaa7079bcfeeff75398118cdf2820aa0b3b321b448c416d"},
    {"iso8859_13", iso8859_13_to_utf8,
     "48d7963f3c3d13c27664edabcbfd9507d516d48a22ef95578abffbc757c21b9f"},
    {"iso8859_14", iso8859_14_to_utf8,
     "cb5f5b9ae8430fe8d0bb10e0049e3a9f6eb8170f8b7064a492668f0609d5a7d7"},
    {"iso8859_15", iso8859_15_to_utf8,
     "6a31d79c1c012dc2568eb5baaa22d0b3b6d7aee1194b5bb5c6f1f5ab9f4fe59e"},
    {"iso8859_16", iso8859_16_to_utf8,
     "cda40dceb3b705f5b11c356dfca71940918cbd85b33eec1ceff37a3d14b6bc97"},
};

TEST(SingleBytePages, HoldTheirCharacters) {
    for (const SingleBytePage& page : s_pages) {
        Units table;
        for (int byte = 0; byte < 256; ++byte) {
            const unsigned char src[3] = {static_cast<unsigned char>(byte)};
            unsigned char dst[3];
            int size = 3;
            int used = 3;  // the zeros behind the byte are left out
            EXPECT_EQ(page.toUtf8(dst, size, src, used), 0);
            EXPECT_EQ(used, 3);
            unsigned short uni = 0;
            EXPECT_TRUE(size == 0 || utf8_mbtowc(&uni, dst, size) == size);
            table.push_back(uni);
        }
        EXPECT_EQ(digestOf(table), page.digest) << page.name;
    }
}

TEST(SingleBytePages, GoOnWhereTheRoomEnded) {
    const unsigned char src[] = {0xE9, 0xE9, 0xE9};
    unsigned char dst[4] = {0, 0, '#', '#'};
    int size = 3;
    int used = 3;
    EXPECT_EQ(iso8859_1_to_utf8(dst, size, src, used), 0);
    EXPECT_EQ(std::tuple(used, size, dst[2]), std::tuple(1, 2, '#'));
    const std::tuple<unsigned char*, int, const unsigned char*, int> refused[] = {
        {nullptr, 3, src, 3}, {dst, 3, nullptr, 3}, {dst, 3, src, 0}, {dst, 2, src, 3}};
    for (auto [to, room, from, length] : refused) {
        size = room;
        used = length;
        EXPECT_EQ(iso8859_1_to_utf8(to, size, from, used), -1);
        EXPECT_EQ(std::pair(size, used), std::pair(room, length));
    }
}

}  // namespace

}  // namespace Tovra::Utils
