#include "options.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <system_error>
#include <thread>

namespace TreeSum {

namespace {

constexpr std::string_view s_help =
    R"(Usage: treesum [OPTION]... [PATH]...
  or:  treesum [OPTION]... --check FILE
Print the checksums of all regular files in the directory trees PATH, or verify
the checksums that FILE lists. Without PATH, the current directory is summed.
Inside a tree symbolic links are not followed; a PATH itself may be one.
With the PATH or FILE -, standard input is read.

      --md5          MD5, as md5sum prints and reads it (the default)
      --sha1         SHA-1, as sha1sum prints and reads it
      --crc32        CRC-32 of IEEE 802.3, lines of the same form
      --budget SIZE  most memory for file contents, 4K to 1024M (default 2M); a K or
                     M behind the number stands for 1024 or 1048576 bytes
      --workers N    files read at a time, 1 to 64 (default: one for each processor)
      --timeout S    tell when a read has taken so many seconds (default 30, 0 never)
      --check FILE   verify; without an algorithm the length of each checksum tells
      --quiet        when verifying, do not print OK lines, nor how far the work is
      --log-level N  records up to this level on standard error: 0 none (the
                     default), 2 errors, 4 information, 5 each directory
      --log-file F   records to this file as well; alone it means level 4
      --log-size KIB empty the log file when it has grown so far (default 1024)
      --help         print this text and end
      --version      print the version and end

Exit status: 0 when every file was summed or verified, 1 when anything failed,
2 for a wrong command line. An interrupt ends the program by its signal, after what
was done is written out.)";

constexpr std::uint64_t s_smallestBudgetBytes = 4 * 1024;
constexpr std::uint64_t s_largestBudgetBytes = 1024 * 1024 * 1024;
constexpr unsigned int s_mostWorkers = 64;
constexpr unsigned int s_longestTimeoutSeconds = 86400;

std::uint64_t unitBytes(std::string_view suffix) {
    if (suffix.empty()) return 1;
    if (suffix == "K" || suffix == "k") return 1024;
    if (suffix == "M" || suffix == "m") return 1024 * 1024;
    return 0;
}

bool parseBudget(std::string_view text, unsigned int& bytes) {
    std::uint32_t number = 0;  // 32 bits times the largest unit cannot overflow 64
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{}) return false;
    const std::uint64_t size =
        number * unitBytes(text.substr(static_cast<std::size_t>(rest - text.data())));
    if (size < s_smallestBudgetBytes || size > s_largestBudgetBytes) return false;
    bytes = static_cast<unsigned int>(size);
    return true;
}

// The complaint, empty when all is well.
using Complaint = std::string;

Complaint choose(Options& options, Algorithm algorithm) {
    if (options.algorithm && *options.algorithm != algorithm) return "one algorithm at a time";
    options.algorithm = algorithm;
    return {};
}

template <bool Options::*flag>
Complaint set(Options& options) {
    options.*flag = true;
    return {};
}

std::optional<unsigned int> parseNumber(std::string_view text) {
    unsigned int number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || rest != end) return std::nullopt;
    return number;
}

template <std::optional<std::string> Options::*field>
Complaint setNumber(Options& options, std::string_view value) {
    if (!parseNumber(value)) return std::string("not a number: ").append(value);
    options.*field = value;
    return {};
}

Complaint setCount(unsigned int& field, std::string_view value, unsigned int least,
                   unsigned int most, std::string_view range) {
    const auto number = parseNumber(value);
    if (!number || *number < least || *number > most) {
        return std::string(range).append(", not '").append(value).append("'");
    }
    field = *number;
    return {};
}

struct FlagRow {
    std::string_view name;
    Complaint (*apply)(Options&);
};
constexpr FlagRow s_flags[] = {
    {"--md5", [](Options& o) { return choose(o, Algorithm::md5); }},
    {"--sha1", [](Options& o) { return choose(o, Algorithm::sha1); }},
    {"--crc32", [](Options& o) { return choose(o, Algorithm::crc32); }},
    {"--quiet", &set<&Options::quiet>},
    {"--help", &set<&Options::help>},
    {"--version", &set<&Options::version>},
};

struct ValueRow {
    std::string_view name;
    Complaint (*apply)(Options&, std::string_view value);
};
constexpr ValueRow s_valued[] = {
    {"--budget",
     [](Options& o, std::string_view value) {
         if (parseBudget(value, o.budgetBytes)) return Complaint();
         return "a budget is a size of 4K to 1024M, not '" + std::string(value) + "'";
     }},
    {"--check",
     [](Options& o, std::string_view value) {
         if (o.manifest) return Complaint("one --check at a time");
         o.manifest = value;
         return Complaint();
     }},
    {"--workers",
     [](Options& o, std::string_view value) {
         return setCount(o.workers, value, 1, s_mostWorkers, "workers are 1 to 64");
     }},
    {"--timeout",
     [](Options& o, std::string_view value) {
         return setCount(o.timeoutSeconds, value, 0, s_longestTimeoutSeconds,
                         "a time-out is 0 to 86400 seconds");
     }},
    {"--log-level", &setNumber<&Options::logLevel>},
    {"--log-file",
     [](Options& o, std::string_view value) {
         o.logFile = value;
         return Complaint();
     }},
    {"--log-size", &setNumber<&Options::logSizeKib>},
};

/// Goes through the arguments once.
class Parser {
public:
    explicit Parser(std::span<char* const> arguments) : m_rest(arguments) {}

    Complaint parse(Options& options) {
        bool optionsEnded = false;
        while (!m_rest.empty()) {
            const std::string_view argument = take();
            if (optionsEnded || argument == "-" || !argument.starts_with('-')) {
                options.paths.emplace_back(argument);
            } else if (argument == "--") {
                optionsEnded = true;
            } else if (Complaint complaint = applyOption(options, argument); !complaint.empty()) {
                return complaint;
            }
        }
        if (options.manifest && !options.paths.empty()) return "--check takes no PATH";
        if (options.quiet && !options.manifest) return "--quiet is for --check alone";
        return {};
    }

private:
    std::string_view take() {
        const std::string_view argument = m_rest.front();
        m_rest = m_rest.subspan(1);
        return argument;
    }

    Complaint applyOption(Options& options, std::string_view argument) {
        if (const auto* flag = std::ranges::find(s_flags, argument, &FlagRow::name);
            flag != std::end(s_flags)) {
            return flag->apply(options);
        }
        const std::size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        const auto* valued = std::ranges::find(s_valued, name, &ValueRow::name);
        if (valued == std::end(s_valued)) return "unknown option '" + std::string(argument) + "'";
        if (equals != std::string_view::npos) {
            return valued->apply(options, argument.substr(equals + 1));
        }
        if (m_rest.empty()) return "option '" + std::string(name) + "' wants a value";
        return valued->apply(options, take());
    }

    std::span<char* const> m_rest;
};

}  // namespace

std::optional<Options> parseOptions(std::span<char* const> arguments, std::string& complaint) {
    Options options;
    complaint = Parser(arguments).parse(options);
    if (!complaint.empty()) return std::nullopt;
    return options;
}

std::vector<std::string> Options::roots() const {
    return paths.empty() ? std::vector<std::string>{"."} : paths;
}

unsigned int Options::crewSize() const {
    const unsigned int wanted =
        workers != 0 ? workers : std::clamp(std::thread::hardware_concurrency(), 1U, s_mostWorkers);
    return std::min(wanted,
                    std::bit_floor(budgetBytes / static_cast<unsigned int>(s_smallestBudgetBytes)));
}

unsigned int Options::workerBytes() const { return budgetBytes / std::bit_ceil(crewSize()); }

std::string_view helpText() { return s_help; }

}  // namespace TreeSum
