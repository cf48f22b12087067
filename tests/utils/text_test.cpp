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

namespace Tovra::Utils {

namespace {

using Testing::printed;

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
    const char* const cases[][2] = {
        {"Z", ""}, {"Zm9vY", "foo"}, {"Zm9vYg==", "foob"}, {"Zm9v!Zm9v", "foo"}, {"=Zm9v", ""}};
    for (const auto& [text, data] : cases) EXPECT_EQ(decoded(text), data);
    EXPECT_EQ(base64DecodeLen("Zm9vY!Zm9v"), 7);
    EXPECT_EQ(base64DecodeLen("Zm9v!Zm9v"), 4);
    EXPECT_EQ(base64DecodeLen("=Zm9v"), 1);
    char inPlace[] = "Zm9vYmFy";
    EXPECT_EQ(base64Decode(inPlace, inPlace), 6);
    EXPECT_STREQ(inPlace, "foobar");
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
        {1, "hello", 10, {"\0", 1}},
        {4, "hello", 0, {"\0###", 4}}};
    for (const auto& [size, src, count, expected] : cases) {
        std::string dest(size, '#');
        EXPECT_EQ(strncpy(dest.data(), size, src, count), std::strlen(expected.c_str()));
        EXPECT_EQ(dest, expected);
    }
}

TEST(Strncat, GivesTheRoomAndEndsTheText) {
    const std::tuple<const char*, unsigned int, const char*, unsigned int> cases[] = {
        {"defgh", 9, "abcdefg", 4},
        {"d", 9, "abcd", 4},
        {"defg", 2, "abcde", 2},
        {"d", 0, "abc", 0}};
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
        {6, 12345, {"12345\0", 6}, 5, "12345"},
        {5, 12345, "12345", 5, "1234"},
        {4, 12345, "1234", -1, "123"},
        {1, 12, "1", -1, ""}};
    for (const auto& [size, number, unended, result, ended] : cases) {
        std::string dest(size, '#');
        EXPECT_EQ(Utils::snprintf(dest.data(), size, "%d", number), result);
        EXPECT_EQ(dest, unended);
        const int length = snprintf_x(dest.data(), static_cast<int>(size), "%d", number);
        EXPECT_EQ(length, static_cast<int>(std::strlen(ended)));
        EXPECT_STREQ(dest.c_str(), ended);
    }
    EXPECT_EQ(Utils::snprintf(nullptr, 0, "%s", ""), 0);
    EXPECT_EQ(Utils::snprintf(nullptr, 0, "x"), -1);
}

TEST(Stricmp, IgnoresTheCaseOfLettersAlone) {
    EXPECT_EQ(stricmp("Abc-\xC4", "aBC-\xC4"), 0);
    EXPECT_TRUE(stricmp("@", "`") != 0 && stricmp("[", "{") != 0);
    EXPECT_LT(stricmp("abC", "abd"), 0);
    EXPECT_LT(stricmp("ab", "abc"), 0);
    EXPECT_GT(stricmp("b\xFF", "B~"), 0);
}

TEST(Ip, ReadsWhatThereIsAndWarnsOfTheRest) {
    const std::tuple<const char*, std::uint32_t, bool> cases[] = {
        {"192.168.1.2", 0xC0A80102, true},
        {"300.1.1.1", 0x2C010101, true},
        {"-1.0.0.256 more", 0xFF000000, true},
        {"1.2.x.4", 0x01020000, false},
        {nullptr, 0, false}};
    for (const auto& row : cases) {
        const char* const text = std::get<0>(row);
        const auto read = [&] { EXPECT_EQ(stringToIp(text).value, std::get<1>(row)); };
        const std::string shown = text != nullptr ? text : "(null)";
        EXPECT_EQ(printed(3, read), std::get<2>(row) ? "" : "param str " + shown + " is invalid\n");
    }
}

TEST(Ip, WritesAsMuchAsThereIsRoomFor) {
    IpAddress ip{};
    ip.value = 0xFFFEFDFC;
    char text[16];
    EXPECT_EQ(ipToString(ip, text, 16), text);
    EXPECT_STREQ(text, "255.254.253.252");
    EXPECT_STREQ(ipToString(ip, text, 6), "255.2");
}

}  // namespace

}  // namespace Tovra::Utils
