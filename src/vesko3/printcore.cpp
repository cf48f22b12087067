#include "vesko3/printcore.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "platform/console.h"
#include "platform/thread.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/log.h"
#include "vesko/vesko3/time.h"
#include "vesko3/logfile.h"
#include "vesko3/record.h"

namespace Tovra::Vesko {

namespace {

using Detail::Origin;
using Detail::Record;
using Printer = TFunction1<void, const char*>;
using PrintProc = TFunction1<bool, const char*>;

// The switches of PrintOptions as bits, for records that read them without a lock.
enum Switch : std::uint32_t {
    noTime = 1U << 0,
    noColor = 1U << 1,
    noModule = 1U << 2,
    noLevel = 1U << 3,
    noThread = 1U << 4,
    noVersion = 1U << 5,
    noFunction = 1U << 6,
    noFile = 1U << 7,
    noLine = 1U << 8,
    withDate = 1U << 9,
    withMilliseconds = 1U << 10,
    tagged = 1U << 11
};

std::uint32_t switchesOf(const PrintOptions& options) {
    const unsigned char fields[] = {options.noTime,     options.noColor,          options.noModule,
                                    options.noLevel,    options.noThread,         options.noVersion,
                                    options.noFunction, options.noFile,           options.noLine,
                                    options.withDate,   options.withMilliseconds, options.tagged};
    std::uint32_t switches = 0;
    for (std::size_t i = 0; i < std::size(fields); ++i) {
        if (fields[i] != 0) switches |= 1U << i;
    }
    return switches;
}

/// What is set from outside and shared by all records.
struct Settings {
    CMutex optionsMutex;
    PrintOptions options VESKO_GUARDED_BY(optionsMutex){};

    CMutex printerMutex;
    Printer printer VESKO_GUARDED_BY(printerMutex);

    CMutex printMutex;
    std::vector<PrintProc> procs VESKO_GUARDED_BY(printMutex);
};

// Never destroyed: records come until the last static object has ended.
Settings& settings() {
    static Settings& s_settings = *new Settings;
    return s_settings;
}

constinit std::atomic<std::uint32_t> s_switches{0};

// Most programs install no printer and attach no proc: their records take no lock to see that.
constinit std::atomic<bool> s_hasPrinter{false};
constinit std::atomic<bool> s_hasProcs{false};

// One line is shared by all threads: whoever prints while it is open continues it.
constinit std::atomic<bool> s_lineStart{true};
constinit std::atomic<bool> s_colorRestored{true};
constinit std::atomic<std::uint16_t> s_savedAttributes{0};

constexpr std::uint16_t red = Platform::FOREGROUND_RED;
constexpr std::uint16_t green = Platform::FOREGROUND_GREEN;
constexpr std::uint16_t blue = Platform::FOREGROUND_BLUE;
constexpr std::uint16_t s_levelAttributes[] = {0,     red | blue,         red,         red | green,
                                               green, red | green | blue, green | blue};

Platform::Console* console() {
    static Platform::Console* const s_console = Platform::GetStdHandle(Platform::STD_OUTPUT_HANDLE);
    return s_console;
}

// What stands in the stream already must not take the new colour.
void changeColor(std::uint16_t attributes) {
    const Platform::KillGuard guard;
    std::fflush(stdout);
    Platform::SetConsoleTextAttribute(console(), attributes);
}

void setConsoleColor(std::uint16_t attributes) {
    std::uint16_t saved = s_savedAttributes.load(std::memory_order_relaxed);
    Platform::GetConsoleScreenBufferInfo(console(), &saved);
    s_savedAttributes.store(saved, std::memory_order_relaxed);
    changeColor(attributes);
}

void restoreConsoleColor() { changeColor(s_savedAttributes.load(std::memory_order_relaxed)); }

/// How an element of the header is framed, in plain and in tagged form.
struct Frame {
    const char* before;
    const char* after;
    const char* tag;
};
constexpr Frame moduleFrame{"[", "] ", "M:"};
constexpr Frame versionFrame{"[ver:", "] ", "V:"};
constexpr Frame levelFrame{"", "", "L:"};  // the text brings its own blank
constexpr Frame fileFrame{"", " ", "F:"};
constexpr Frame functionFrame{"", " ", "f:"};
constexpr Frame lineFrame{"", " ", "l:"};
constexpr Frame threadFrame{"tid:", " ", "t:"};

/// Writes the header of one record.
class Header {
public:
    Header(Record& record, const Origin& origin, std::uint32_t switches)
        : m_record(record), m_origin(origin), m_switches(switches) {}

    void write() {
        const bool hasPlace = m_origin.line > 0;
        if (has(tagged)) m_record.append("|T:");
        if (has(withDate) || !has(noTime)) writeMoment();
        if (!has(noModule)) writeText(moduleFrame, m_origin.module);
        if (!has(noVersion)) writeText(versionFrame, m_origin.version);
        if (!has(noLevel)) writeText(levelFrame, m_origin.levelText);
        if (!has(noFile) && hasPlace) writeText(fileFrame, m_origin.file);
        if (!has(noFunction)) writeText(functionFrame, m_origin.function);
        if (!has(noLine) && hasPlace) writeNumber(lineFrame, m_origin.line);
        if (!has(noThread)) {
            writeNumber(threadFrame, static_cast<int>(Platform::GetCurrentThreadId()));
        }
        if (has(tagged)) m_record.append("m:");
    }

private:
    bool has(std::uint32_t which) const { return (m_switches & which) != 0; }

    void open(const Frame& frame) { m_record.append(has(tagged) ? frame.tag : frame.before); }
    void close(const Frame& frame) { m_record.append(has(tagged) ? "|" : frame.after); }

    void writeText(const Frame& frame, const char* text) {
        open(frame);
        m_record.append(text);
        close(frame);
    }

    void writeNumber(const Frame& frame, int number) {
        open(frame);
        m_record.appendNumber(number);
        close(frame);
    }

    void writeMoment() {
        if (has(withMilliseconds)) {
            const SystemTimeEx now = CTime::getCurrentTimeEx();
            writeDateAndTime(now);
            if (has(noTime)) return;
            m_record.append(':');
            m_record.appendNumber(now.millisecond, 3, ' ');
        } else {
            writeDateAndTime(CTime::getCurrentTime());
            if (has(noTime)) return;
        }
        m_record.append('|');
    }

    template <class Moment>
    void writeDateAndTime(const Moment& now) {
        if (has(withDate)) {
            m_record.appendNumber(now.year, 4);
            writePair('-', now.month, now.day);
            m_record.append(' ');
        }
        if (!has(noTime)) {
            m_record.appendTwoDigits(now.hour);
            writePair(':', now.minute, now.second);
        }
    }

    void writePair(char before, int second, int third) {
        m_record.append(before);
        m_record.appendTwoDigits(second);
        m_record.append(before);
        m_record.appendTwoDigits(third);
    }

    Record& m_record;
    const Origin& m_origin;
    const std::uint32_t m_switches;
};

Printer installedPrinter() {
    if (!s_hasPrinter.load(std::memory_order_relaxed)) return {};
    CGuard guard(settings().printerMutex);
    return settings().printer;
}

std::vector<PrintProc> attachedProcs() {
    if (!s_hasProcs.load(std::memory_order_relaxed)) return {};
    CGuard guard(settings().printMutex);
    return settings().procs;
}

void emitRecord(const char* text) {
    if (const Printer printer = installedPrinter(); !printer.empty()) {
        printer(text);
    } else {
        Platform::OutputDebugStringA(text);
        const Platform::KillGuard guard;  // the stream has a lock that nobody else could open
        std::fputs(text, stdout);
    }
    // A copy, so that a proc may attach and detach.
    for (const PrintProc& proc : attachedProcs()) proc(text);
}

void openLine(Record& record, const Origin& origin, std::uint32_t switches) {
    if ((switches & noColor) == 0) {
        setConsoleColor(s_levelAttributes[origin.level]);
        s_colorRestored.store(false, std::memory_order_relaxed);
    }
    Header(record, origin, switches).write();
}

void closeLine(std::uint32_t switches) {
    const bool restored = s_colorRestored.load(std::memory_order_relaxed);
    if ((switches & noColor) != 0 && restored) return;
    restoreConsoleColor();
    s_colorRestored.store(true, std::memory_order_relaxed);
}

/// Gives a caller its `errno` back: it may print between a call that failed and a look at why.
class ErrnoKeeper {
public:
    ErrnoKeeper() : m_value(errno) {}
    ~ErrnoKeeper() { restore(); }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    void restore() const { errno = m_value; }

private:
    const int m_value;
};

}  // namespace

int Detail::printRecord(const Origin& origin, const char* format, va_list arguments) {
    const ErrnoKeeper keeper;
    Record record;
    const std::uint32_t switches = s_switches.load(std::memory_order_relaxed);
    if (s_lineStart.load(std::memory_order_relaxed)) openLine(record, origin, switches);
    keeper.restore();  // the message may print it
    record.appendFormat(format, arguments);
    emitRecord(record.text());
    s_lineStart.store(record.endsLine(), std::memory_order_relaxed);
    if (record.endsLine()) closeLine(switches);
    writeLogFile(record.text(), record.length());
    return record.length();
}

void setPrintOptions(PrintOptions options) {
    CGuard guard(settings().optionsMutex);
    settings().options = options;
    s_switches.store(switchesOf(options), std::memory_order_relaxed);
}

void Detail::changePrintOption(unsigned char PrintOptions::*field, unsigned char value) {
    CGuard guard(settings().optionsMutex);
    settings().options.*field = value;
    s_switches.store(switchesOf(settings().options), std::memory_order_relaxed);
}

int getPrintOptions(PrintOptions* options) {
    CGuard guard(settings().optionsMutex);
    *options = settings().options;
    return 0;
}

int setLogPrinter(Printer printer) {
    CGuard guard(settings().printerMutex);
    settings().printer = printer;
    s_hasPrinter.store(!printer.empty(), std::memory_order_relaxed);
    return 0;
}

bool attachPrint(PrintProc proc) {
    CGuard guard(settings().printMutex);
    std::vector<PrintProc>& procs = settings().procs;
    if (std::find(procs.begin(), procs.end(), proc) != procs.end()) return false;
    procs.push_back(proc);
    s_hasProcs.store(true, std::memory_order_relaxed);
    return true;
}

bool detachPrint(PrintProc proc) {
    CGuard guard(settings().printMutex);
    std::vector<PrintProc>& procs = settings().procs;
    const auto found = std::find(procs.begin(), procs.end(), proc);
    if (found == procs.end()) return false;
    procs.erase(found);
    s_hasProcs.store(!procs.empty(), std::memory_order_relaxed);
    return true;
}

}  // namespace Tovra::Vesko
