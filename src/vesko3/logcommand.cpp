#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "platform/thread.h"
#include "vesko/vesko3/log.h"
#include "vesko3/logfile.h"
#include "vesko3/modulefilter.h"
#include "vesko3/printcore.h"

namespace Tovra::Vesko {

namespace {

constexpr const char* s_usage[] = {
    "logfilter command usage:\n",
    "logfilter -loglevel [levelnum](0-no printlevel, 1-fatal, 2-error, 3-warn, 4-info, "
    "5-trace, 6-debug): set log level\n",
    "logfilter -logmodule [modulename] [on/off] #turn module's log on/off\n",
    "logfilter -logmodule [on/off] #turn ALL module's log on/off\n",
    "logfilter -logpath [logpath/] #logger module's log to logpath "
    "or cancel logger(by set path to )\n",
    "logfiter -logsize [logsize] #log file max size limited to logsize Kbytes\n",
};

void printUsage() {
    const Platform::KillGuard guard;  // the stream has a lock that nobody else could open
    for (const char* line : s_usage) std::fputs(line, stdout);
}

char lowerCase(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isWord(std::string_view text, std::string_view lowerCaseWord) {
    if (text.size() != lowerCaseWord.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (lowerCase(text[i]) != lowerCaseWord[i]) return false;
    }
    return true;
}

bool isOn(const char* text) { return isWord(text, "on"); }
bool isOff(const char* text) { return isWord(text, "off"); }

// 0 for a text that is no number; the nearest that fits for one that is too large.
int toNumber(const char* text) {
    const long long number = std::strtoll(text, nullptr, 10);
    constexpr long long lowest = std::numeric_limits<int>::min();
    constexpr long long highest = std::numeric_limits<int>::max();
    return static_cast<int>(number < lowest ? lowest : number > highest ? highest : number);
}

void setLevel(const char* number) { setPrintLogLevel(toNumber(number)); }

void setSizeLimit(const char* number) {
    // Wraps as the product of 32-bit integers does, so that a limit means the same on every platform.
    const long long kibibytes = std::strtoll(number, nullptr, 10);
    const auto product = static_cast<std::int32_t>(static_cast<std::uint32_t>(kibibytes) * 1024U);
    Detail::setLogFileLimit(product > 0 ? product : 0);
}

template <unsigned char PrintOptions::*leftOut>
void showElement(const char* value) {
    Detail::changePrintOption(leftOut, isOn(value) ? 0 : 1);
}

struct Command {
    std::string_view word;
    void (*run)(const char* value);
};

constexpr Command s_commands[] = {
    {"-loglevel", &setLevel},
    {"-logtime", &showElement<&PrintOptions::noTime>},
    {"-logthread", &showElement<&PrintOptions::noThread>},
    {"-logversion", &showElement<&PrintOptions::noVersion>},
    {"-logfunction", &showElement<&PrintOptions::noFunction>},
    {"-logpath", &Detail::setLogFilePath},
    {"-logsize", &setSizeLimit},
};

}  // namespace

void setLogFilter(int argc, char* const argv[]) {
    if (argc == 0) return printUsage();
    if (argc < 0 || argv == nullptr || argv[0] == nullptr) return;
    const std::string_view word = argv[0];
    if (argc == 1) {
        if (word == "-h") printUsage();
        return;
    }
    const char* value = argv[1];
    if (value == nullptr) return;
    if (word == "-logmodule") {
        if (argc > 2 && argv[2] == nullptr) return;
        return argc > 2 ? Detail::setModule(value, isOn(argv[2]))
                        : Detail::setAllModules(!isOff(value));
    }
    for (const Command& command : s_commands) {
        if (word == command.word) return command.run(value);
    }
}

}  // namespace Tovra::Vesko
