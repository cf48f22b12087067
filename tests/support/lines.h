#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::Testing {

/// Expects one line for each message. Before a message stands the record's own header, if any, and
/// the place of the call: in `messages`, "<object> " stands for the prefix of a member of `source`.
inline void expectLines(const std::string& printed, const std::string& source,
                        const std::vector<std::string>& messages) {
    const std::regex prefix("\\[" + source + ":[1-9][0-9]*\\] this:0x[0-9a-f]+ tid:[1-9][0-9]*, ");
    std::istringstream stream(printed);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(std::regex_replace(line, prefix, "<object> "));
    ASSERT_EQ(lines.size(), messages.size()) << printed;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& message = messages[i];
        SCOPED_TRACE(lines[i] + " against " + message);
        ASSERT_GE(lines[i].size(), message.size());
        EXPECT_EQ(lines[i].substr(lines[i].size() - message.size()), message);
        EXPECT_EQ(lines[i].find("<object>") != std::string::npos, message.starts_with("<object>"));
    }
    EXPECT_TRUE(printed.empty() || printed.back() == '\n');
}

}  // namespace Tovra::Testing
