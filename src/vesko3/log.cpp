#include "vesko/vesko3/log.h"

#include <atomic>
#include <cstdarg>
#include <cstring>

#include "vesko3/loglevel.h"
#include "vesko3/modulefilter.h"
#include "vesko3/printcore.h"

namespace Tovra::Vesko {

namespace {

using namespace Detail;

// At logFilter and logLibName two levels have one blank where their functions have two.
constexpr const char* s_levelTexts[] = {"",      "fatal ", "error ", "warn ",
                                        "info ", "trace ", "debug "};

constinit std::atomic<int> s_printLevel{warnLevel};

bool passes(int level) { return level <= s_printLevel.load(std::memory_order_relaxed); }

bool isRecordLevel(int level) { return level >= fatalLevel && level <= debugLevel; }

const char* textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

const char* lastComponent(const char* path) {
    const char* separator = std::strrchr(path, '/');
    return separator != nullptr ? separator + 1 : path;
}

}  // namespace

// The functions below differ in what they show of their origin alone; variable arguments allow no
// common front. A call that does not pass must not pay for the buffer of a record, which therefore
// stands in the frame of printRecord.
#define VESKO_PRINT_RECORD(origin)                                     \
    va_list arguments;                                                 \
    va_start(arguments, format);                                       \
    const int length = Detail::printRecord(origin, format, arguments); \
    va_end(arguments);                                                 \
    return length

#define VESKO_DEFINE_LEVEL_FUNCTION(name, level, text)     \
    int name(const char* format, ...) {                    \
        if (!passes(level)) return 0;                      \
        VESKO_PRINT_RECORD((Detail::Origin{level, text})); \
    }

VESKO_DEFINE_LEVEL_FUNCTION(logFatal, fatalLevel, "fatal ")
VESKO_DEFINE_LEVEL_FUNCTION(logError, errorLevel, "error ")
VESKO_DEFINE_LEVEL_FUNCTION(logWarn, warnLevel, "warn  ")
VESKO_DEFINE_LEVEL_FUNCTION(logInfo, infoLevel, "info  ")
VESKO_DEFINE_LEVEL_FUNCTION(logTrace, traceLevel, "trace ")
VESKO_DEFINE_LEVEL_FUNCTION(logDebug, debugLevel, "debug ")

int logFilter(int level, const char* module, const char* file, const char* function, int line,
              const char* version, const char* format, ...) {
    if (!passes(level) || !isRecordLevel(level) || !Detail::modulePasses(module)) return 0;
    const Detail::Origin origin{level,
                                s_levelTexts[level],
                                textOrEmpty(module),
                                textOrEmpty(version),
                                lastComponent(textOrEmpty(file)),
                                textOrEmpty(function),
                                line};
    VESKO_PRINT_RECORD(origin);
}

int logLibName(int level, const char* libName, const char* format, ...) {
    if (!isRecordLevel(level) || !passes(level)) return 0;
    const Detail::Origin origin{level, s_levelTexts[level], textOrEmpty(libName)};
    VESKO_PRINT_RECORD(origin);
}

#undef VESKO_DEFINE_LEVEL_FUNCTION
#undef VESKO_PRINT_RECORD

void setPrintLogLevel(int level) { s_printLevel.store(level, std::memory_order_relaxed); }

int getPrintLogLevel() { return s_printLevel.load(std::memory_order_relaxed); }

void dumpHex(unsigned char* data, unsigned int length) {
    constexpr unsigned int rowBytes = 16;
    constexpr unsigned int bytesBetweenGaps = 512;
    const auto isShown = [](unsigned char byte) { return byte >= 32 && byte <= 122; };
    if (data == nullptr || !passes(traceLevel)) return;
    for (unsigned int row = 0; row < length; row += rowBytes) {
        const unsigned int count = length - row < rowBytes ? length - row : rowBytes;
        logTrace("%p: ", static_cast<void*>(data + row));
        for (unsigned int i = 0; i < count; ++i) logTrace("%02x ", data[row + i]);
        for (unsigned int i = count; i < rowBytes; ++i) logTrace("   ");
        logTrace("  ");
        for (unsigned int i = 0; i < count; ++i) {
            logTrace("%c", isShown(data[row + i]) ? data[row + i] : '.');
        }
        logTrace("\n");
        if (row % bytesBetweenGaps == 0) logTrace("\n");
        if (length - row <= rowBytes) return;  // before the offset could wrap at 2^32
    }
}

}  // namespace Tovra::Vesko
