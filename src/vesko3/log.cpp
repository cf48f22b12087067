#include "vesko/vesko3/log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "platform/console.h"

namespace Tovra::Vesko {

namespace {

enum Level { fatalLevel = 1, errorLevel, warnLevel, infoLevel, traceLevel, debugLevel };

constinit std::atomic<int> s_printLevel{warnLevel};

bool passes(int level) { return level <= s_printLevel.load(std::memory_order_relaxed); }

/// One record, built on the stack of the thread that prints it.
class Record {
public:
    Record() { m_text[capacity] = '\0'; }

    // A text that does not fit is cut at the end of the buffer.
    void append(const char* format, va_list arguments) VESKO_PRINTF(2, 0) {
        const int room = capacity - m_length;
        // One more than the room: the formatter counts its terminating zero.
        const int wanted = std::vsnprintf(m_text + m_length, static_cast<std::size_t>(room) + 1,
                                          format, arguments);
        m_length += std::clamp(wanted, 0, room);  // a format that failed adds nothing
        m_text[m_length] = '\0';
    }

    const char* text() const { return m_text; }
    int length() const { return m_length; }

private:
    static constexpr int capacity = 8191;

    int m_length = 0;
    char m_text[capacity + 1];
};

void emitRecord(const char* text) {
    Platform::OutputDebugStringA(text);
    std::fputs(text, stdout);
}

// Never inlined: a call that does not pass must not pay for the buffer in its stack frame.
[[gnu::noinline]] int print(const char* format, va_list arguments) VESKO_PRINTF(1, 0);

int print(const char* format, va_list arguments) {
    Record record;
    record.append(format, arguments);
    emitRecord(record.text());
    return record.length();
}

}  // namespace

// The six level functions differ in their level alone; variable arguments allow no common front.
#define VESKO_DEFINE_LEVEL_FUNCTION(name, level)     \
    int name(const char* format, ...) {              \
        if (!passes(level)) return 0;                \
        va_list arguments;                           \
        va_start(arguments, format);                 \
        const int length = print(format, arguments); \
        va_end(arguments);                           \
        return length;                               \
    }

VESKO_DEFINE_LEVEL_FUNCTION(logFatal, fatalLevel)
VESKO_DEFINE_LEVEL_FUNCTION(logError, errorLevel)
VESKO_DEFINE_LEVEL_FUNCTION(logWarn, warnLevel)
VESKO_DEFINE_LEVEL_FUNCTION(logInfo, infoLevel)
VESKO_DEFINE_LEVEL_FUNCTION(logTrace, traceLevel)
VESKO_DEFINE_LEVEL_FUNCTION(logDebug, debugLevel)

#undef VESKO_DEFINE_LEVEL_FUNCTION

int logFilter(int level, const char* /*module*/, const char* /*file*/, const char* /*function*/,
              int /*line*/, const char* /*version*/, const char* format, ...) {
    if (level < fatalLevel || level > debugLevel || !passes(level)) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int length = print(format, arguments);
    va_end(arguments);
    return length;
}

void setPrintLogLevel(int level) { s_printLevel.store(level, std::memory_order_relaxed); }

int getPrintLogLevel() { return s_printLevel.load(std::memory_order_relaxed); }

}  // namespace Tovra::Vesko
