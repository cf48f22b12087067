#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vesko/vesko3/log.h"
#include "vesko/vesko3/time.h"

using Tovra::Vesko::CTime;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

bool within(int value, int least, int most) { return value >= least && value <= most; }

void checkParsed(const CTime& time) {
    require(within(time.year, 1970, 2038) && within(time.month, 1, 12) && within(time.day, 1, 31));
    require(within(time.hour, 0, 23) && within(time.minute, 0, 59) && within(time.second, 0, 59));
    CTime again;
    char text[64];
    time.format(text, "yyyy-MM-dd HH:mm:ss");
    require(again.parse(text, "yyyy-MM-dd HH:mm:ss") && again == time);
    require(again.wday == time.wday && time + 0 == time);
}

void checkRefused(const CTime& time) {
    require((time.year | time.month | time.day | time.hour | time.minute | time.second) == 0);
}

// At most eleven characters for a letter, so this is room enough for any pattern.
void checkFormat(const CTime& time, const std::string& pattern) {
    std::string text(pattern.size() * 11 + 1, '#');
    for (int flags = 0; flags < 8; ++flags) time.format(text.data(), pattern.c_str(), flags);
}

}  // namespace

// The first line is the pattern, the rest the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tovra::Vesko::setPrintLogLevel(0);
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t line = input.find('\n');
    const std::string pattern = input.substr(0, line);
    const std::string text = line == std::string::npos ? input : input.substr(line + 1);

    CTime time;
    if (time.parse(text.c_str(), pattern.c_str())) {
        checkParsed(time);
    } else {
        checkRefused(time);
    }
    checkFormat(time, pattern);
    return 0;
}
