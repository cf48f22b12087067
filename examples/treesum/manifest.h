#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "digest.h"

namespace TreeSum {

/// A line of a manifest: a digest and the file that has it.
struct ManifestEntry {
    std::string digest;  // lowercase hexadecimal digits
    std::string name;
    Algorithm algorithm;
};

/// Writes line feeds, carriage returns and backslashes as "\n", "\r" and "\\".
std::string escapedName(std::string_view name);

/// @return a line in the form of the system's checksum tools: the digest, two blanks and the name;
///         a backslash goes before it all when the name had to be escaped
std::string manifestLine(std::string_view digest, std::string_view name);

/// Reads a line back. The second blank may be a '*', the digits may be capitals, and blanks may
/// stand before them.
/// @param expected null finds the algorithm by the length of the digest
/// @return nothing for a line of another form
std::optional<ManifestEntry> parseManifestLine(std::string_view line,
                                               std::optional<Algorithm> expected);

/// @return true for a line that says nothing: an empty one or a comment, which begins with '#'
bool isIgnoredLine(std::string_view line);

}  // namespace TreeSum
