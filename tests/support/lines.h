#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::Testing {

/// Puts "<object> " or "<thread> " for the prefix that `source` writes before its message.
inline std::string withoutPlace(const std::string& line, const std::string& source) {
    const std::string opening = '[' + source + ':';
    const std::size_t start = line.find(opening);
    if (start == std::string::npos) return line;
    int sourceLine = 0;
    int thread = 0;
    int length = 0;
    void* object = nullptr;
    const char* const rest = line.c_str() + start + opening.size();
    std::sscanf(rest, "%d] this:%p tid:%d, %n", &sourceLine, &object, &thread, &length);
    const bool ofObject = length != 0 && object != nullptr;
    if (!ofObject) std::sscanf(rest, "%d] tid:%d, %n", &sourceLine, &thread, &length);
    if (sourceLine <= 0 || thread <= 0 || length == 0) return line;
    return line.substr(0, start) + (ofObject ? "<object> " : "<thread> ") + (rest + length);
}

/// Expects one line for each message. A record's header may stand before it. A message that opens
/// with "<object> " has the prefix of a member function of `source`, one that opens with "<thread> "
/// that of a static or free function; the others have none.
inline void expectLines(const std::string& printed, const std::string& source,
                        const std::vector<std::string>& messages) {
    std::istringstream stream(printed);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(withoutPlace(line, source));
    ASSERT_EQ(lines.size(), messages.size()) << printed;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& message = messages[i];
        SCOPED_TRACE(lines[i] + " against " + message);
        EXPECT_TRUE(lines[i].ends_with(message));
        for (const char* part : {"] this:", "] tid:"}) {
            EXPECT_EQ(lines[i].find(part), std::string::npos) << "a prefix in a form of its own";
        }
        for (const char* prefix : {"<object>", "<thread>"}) {
            EXPECT_EQ(lines[i].find(prefix) != std::string::npos, message.starts_with(prefix));
        }
    }
    EXPECT_TRUE(printed.empty() || printed.back() == '\n');
}

}  // namespace Tovra::Testing
