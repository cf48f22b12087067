#include "platform/console.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace Tovra::Platform {

[[gnu::noinline]] void OutputDebugStringA(const char* text) {
    // Without this the compiler would see that the argument is not used, and no longer pass it.
    asm volatile("" : : "r"(text) : "memory");
}

class Console {
public:
    // A terminal is asked each time: a program may send its output elsewhere while it runs, and no
    // file must get colours. What was none once is not asked again, for it would cost a system call
    // for every record.
    bool isTerminal() {
        if (!m_mayBeTerminal.load(std::memory_order_relaxed)) return false;
        const bool isOne = ::isatty(STDOUT_FILENO) == 1;
        m_mayBeTerminal.store(isOne, std::memory_order_relaxed);
        return isOne;
    }

private:
    std::atomic<bool> m_mayBeTerminal{true};
};

namespace {

constinit Console s_standardOutput;

// The order of colours in a terminal's sequences is red, green, blue from the lowest bit on.
constexpr char colourDigit(std::uint16_t attributes) {
    const int red = (attributes & FOREGROUND_RED) != 0 ? 1 : 0;
    const int green = (attributes & FOREGROUND_GREEN) != 0 ? 2 : 0;
    const int blue = (attributes & FOREGROUND_BLUE) != 0 ? 4 : 0;
    return static_cast<char>('0' + red + green + blue);
}
static_assert(colourDigit(FOREGROUND_RED) == '1' && colourDigit(FOREGROUND_BLUE) == '4');

bool writeAll(const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

Console* GetStdHandle(std::int32_t number) {
    return number == STD_OUTPUT_HANDLE ? &s_standardOutput : nullptr;
}

bool GetConsoleScreenBufferInfo(Console* console, std::uint16_t* attributes) {
    if (!console->isTerminal()) return false;
    *attributes = 0;
    return true;
}

bool SetConsoleTextAttribute(Console* console, std::uint16_t attributes) {
    if (!console->isTerminal()) return false;
    constexpr char reset[] = "\x1b[0m";
    const char colour[] = {'\x1b', '[', '3', colourDigit(attributes), 'm'};
    return attributes == 0 ? writeAll(reset, sizeof(reset) - 1) : writeAll(colour, sizeof(colour));
}

}  // namespace Tovra::Platform
