#include "manifest.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace TreeSum {

namespace {

constexpr std::string_view s_hexDigits = "0123456789abcdefABCDEF";

struct EscapeRow {
    char plain;
    char letter;  // behind the backslash
};
constexpr EscapeRow s_escapes[] = {{'\n', 'n'}, {'\r', 'r'}, {'\\', '\\'}};

const EscapeRow* escapeOf(char plain) {
    const auto* row = std::ranges::find(s_escapes, plain, &EscapeRow::plain);
    return row == std::end(s_escapes) ? nullptr : row;
}

bool needsEscape(std::string_view name) {
    return std::ranges::any_of(name, [](char c) { return escapeOf(c) != nullptr; });
}

// Nothing for a backslash that begins none of the escapes.
std::optional<std::string> unescapedName(std::string_view text) {
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            name += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        const auto* row = std::ranges::find(s_escapes, text[i], &EscapeRow::letter);
        if (row == std::end(s_escapes)) return std::nullopt;
        name += row->plain;
    }
    return name;
}

std::string lowercaseDigits(std::string_view digits) {
    std::string result(digits);
    for (char& c : result) {
        if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

// A manifest that went through another system may end its lines in "\r\n".
std::string_view withoutReturn(std::string_view line) {
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

}  // namespace

std::string escapedName(std::string_view name) {
    std::string text;
    for (const char c : name) {
        const EscapeRow* escape = escapeOf(c);
        if (escape != nullptr) text += '\\';
        text += escape != nullptr ? escape->letter : c;
    }
    return text;
}

std::string manifestLine(std::string_view digest, std::string_view name) {
    const bool escaped = needsEscape(name);
    std::string line = escaped ? "\\" : "";
    line.append(digest).append("  ");
    if (escaped) return line.append(escapedName(name));
    return line.append(name);
}

bool isIgnoredLine(std::string_view line) {
    return withoutReturn(line).empty() || line.front() == '#';
}

namespace {

struct TagRow {
    std::string_view prefix;
    Algorithm algorithm;
};
constexpr TagRow s_tags[] = {
    {"MD5 (", Algorithm::md5}, {"SHA1 (", Algorithm::sha1}, {"CRC32 (", Algorithm::crc32}};

/// The parts of a line, before its name is unescaped.
struct RawEntry {
    std::string_view digits;
    std::string_view name;
    Algorithm algorithm;
};

// "MD5 (name) = digest"
std::optional<RawEntry> parseTagged(std::string_view line) {
    constexpr std::string_view between = ") = ";
    for (const TagRow& tag : s_tags) {
        const std::size_t nameEnd = line.rfind(between);
        if (!line.starts_with(tag.prefix) || nameEnd == std::string_view::npos ||
            nameEnd < tag.prefix.size()) {
            continue;
        }
        const std::string_view digits = line.substr(nameEnd + between.size());
        if (digits.find_first_not_of(s_hexDigits) != std::string_view::npos) return std::nullopt;
        return RawEntry{digits, line.substr(tag.prefix.size(), nameEnd - tag.prefix.size()),
                        tag.algorithm};
    }
    return std::nullopt;
}

// "digest  name", "digest *name" or "digest name"
std::optional<RawEntry> parsePlain(std::string_view line) {
    const std::string_view digits = line.substr(0, line.find_first_not_of(s_hexDigits));
    const std::optional<Algorithm> algorithm = algorithmOfLength(digits.size());
    line.remove_prefix(digits.size());
    if (!algorithm || (!takePrefix(line, " ") && !takePrefix(line, "\t"))) return std::nullopt;
    if (!takePrefix(line, " ")) takePrefix(line, "*");
    return RawEntry{digits, line, *algorithm};
}

}  // namespace

std::optional<ManifestEntry> parseManifestLine(std::string_view line,
                                               std::optional<Algorithm> expected) {
    line = withoutReturn(line);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    const bool escaped = takePrefix(line, "\\");
    std::optional<RawEntry> raw = parseTagged(line);
    if (!raw) raw = parsePlain(line);
    if (!raw || algorithmOfLength(raw->digits.size()) != raw->algorithm) return std::nullopt;
    if (expected && *expected != raw->algorithm) return std::nullopt;
    std::optional<std::string> name = escaped ? unescapedName(raw->name) : std::string(raw->name);
    if (!name || name->empty() || name->find('\0') != std::string::npos) return std::nullopt;
    return ManifestEntry{lowercaseDigits(raw->digits), std::move(*name), raw->algorithm};
}

}  // namespace TreeSum
