// Base64, bounded text and the text of addresses.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "support/capture.h"
#include "vesko/utils/base64.h"
#include "vesko/utils/ip.h"
#include "vesko/utils/string.h"

namespace {

using namespace Tovra::Utils;
using Tovra::Testing::printed;

// Rooms are exact, so that the address sanitizer sees a byte too many.
std::string encoded(const std::string& data) {
    const int length = static_cast<int>(data.size());
    std::vector<char> text(static_cast<std::size_t>(base64EncodeLen(length)));
    EXPECT_EQ(base64Encode(text.data(), data.data(), length), static_cast<int>(text.size()));
    EXPECT_EQ(text.back(), '\0');
    return {text.data(), text.size() - 1};
}

std::string decoded(const std::string& text) {
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    std::vector<char> data(static_cast<std::size_t>(base64DecodeLen(exact.data())));
    const int length = base64Decode(data.data(), exact.data());
    EXPECT_EQ(data[static_cast<std::size_t>(length)], '\0');
    return {data.data(), static_cast<std::size_t>(length)};
}

TEST(Base64, AgreesWithThePeerAndReadsWhatItWrote) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string data(size, '\0');
        for (char& byte : data) byte = static_cast<char>(random());
        std::string peer(size * 2 + 8, '\0');
        const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(peer.data()),
                                           reinterpret_cast<const unsigned char*>(data.data()),
                                           static_cast<int>(size));
        peer.resize(static_cast<std::size_t>(length));
        ASSERT_EQ(encoded(data), peer);
        ASSERT_EQ(decoded(peer), data);
        ASSERT_EQ(decoded(peer.substr(0, peer.find('='))), data) << "padding is not needed";
    }
}

TEST(Base64, StopsAtTheFirstForeignCharacter) {
    EXPECT_EQ(decoded("Zm9vY"), "foo");
    EXPECT_EQ(base64DecodeLen("Zm9v!Zm9v"), 4);
    for (int byte = 1; byte < 256; ++byte) {
        const char text[] = {'Z', 'm', static_cast<char>(byte), '8', '\0'};
        const bool isDigit = std::isalnum(byte) != 0 || byte == '+' || byte == '/';
        EXPECT_EQ(decoded(text).size(), isDigit ? 3U : 1U) << byte;
    }
}

TEST(Strncpy, EndsTheTextAndFillsWithZeros) {
    const std::tuple<unsigned int, const char*, unsigned int, std::string> cases[] = {
        {4, "hello", 10, {"hel\0", 4}},
        {10, "hello", 2, {"he\0#######", 10}},
        {10, "he", 5, {"he\0\0\0\0####", 10}},
        {1, "hello", 10, {"\0", 1}}};
    for (const auto& [size, src, count, expected] : cases) {
        std::string dest(size, '#');
        EXPECT_EQ(strncpy(dest.data(), size, src, count), std::strlen(expected.c_str()));
        EXPECT_EQ(dest, expected);
    }
}

TEST(Strncat, GivesTheRoomAndEndsTheText) {
    const std::tuple<const char*, unsigned int, const char*, unsigned int> cases[] = {
        {"defgh", 9, "abcdefg", 4}, {"d", 9, "abcd", 4}, {"defg", 2, "abcde", 2}};
    for (const auto& [src, count, expected, limit] : cases) {
        std::string dest("abc\0####", 8);
        EXPECT_EQ(strncat(dest.data(), 8, src, count), limit);
        EXPECT_STREQ(dest.c_str(), expected);
        EXPECT_EQ(dest[7], '\0');
    }
}

TEST(Snprintf, EndsTheTextOrNot) {
    // The room, the number, and the text and result of the unended form; the other ends its text.
    const std::tuple<std::size_t, int, std::string, int, const char*> cases[] = {
        {5, 12345, "12345", 5, "1234"}, {4, 12345, "1234", -1, "123"}, {1, 12, "1", -1, ""}};
    for (const auto& [size, number, unended, result, ended] : cases) {
        std::string dest(size, '#');
        EXPECT_EQ(Tovra::Utils::snprintf(dest.data(), size, "%d", number), result);
        EXPECT_EQ(dest, unended);
        EXPECT_EQ(snprintf_x(dest.data(), static_cast<int>(size), "%d", number),
                  static_cast<int>(std::strlen(ended)));
        EXPECT_STREQ(dest.c_str(), ended);
    }
}

TEST(Stricmp, IgnoresTheCaseOfLettersAlone) {
    EXPECT_EQ(stricmp("Abc-\xC4", "aBC-\xC4"), 0);
    EXPECT_TRUE(stricmp("@", "`") != 0 && stricmp("[", "{") != 0);
    EXPECT_LT(stricmp("ab", "ABC"), 0);
    EXPECT_GT(stricmp("b\xFF", "B~"), 0);
}

TEST(Ip, ReadsWhatThereIsAndWarnsOfTheRest) {
    const std::tuple<const char*, std::uint32_t, const char*> cases[] = {
        {"-1.0.0.256 more", 0xFF000000, ""},
        {"1.2.x.4", 0x01020000, "param str 1.2.x.4 is invalid\n"},
        {nullptr, 0, "param str (null) is invalid\n"}};
    for (const auto& row : cases) {
        const auto read = [&] { EXPECT_EQ(stringToIp(std::get<0>(row)).value, std::get<1>(row)); };
        EXPECT_EQ(printed(3, read), std::get<2>(row));
    }
}

TEST(Ip, WritesAsMuchAsThereIsRoomFor) {
    const auto ip = stringToIp("255.254.253.252");
    char text[16];
    EXPECT_STREQ(ipToString(ip, text, 16), "255.254.253.252");
    EXPECT_STREQ(ipToString(ip, text, 6), "255.2");
}

}  // namespace
