#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "digest.h"

namespace TreeSum {

/// What the user asked for.
struct Options {
    std::optional<Algorithm> algorithm;
    unsigned int budgetBytes = 2 * 1024 * 1024;
    unsigned int workers = 0;  // 0 for one for each processor
    unsigned int timeoutSeconds = 30;
    std::optional<std::string> manifest;  // to be verified; "-" is standard input
    std::optional<std::string> logLevel;  // a number
    std::optional<std::string> logFile;
    std::optional<std::string> logSizeKib;  // a number
    bool quiet = false;
    bool help = false;
    bool version = false;
    std::vector<std::string> paths;

    /// @return the paths, or the current directory
    std::vector<std::string> roots() const;

    /// @return how many workers there are: never more than the budget has room for
    unsigned int crewSize() const;

    /// @return each worker's share of the budget
    unsigned int workerBytes() const;
};

/// Reads the command line, without the program's name.
/// @param complaint tells why, when the result is empty
std::optional<Options> parseOptions(std::span<char* const> arguments, std::string& complaint);

/// The answer to `--help`.
std::string_view helpText();

}  // namespace TreeSum
