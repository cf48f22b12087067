#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "vesko/export.h"

namespace Tovra::Vesko::Detail {

/// The text of one log record, built on the stack of the thread that prints it. What does not fit is
/// cut at the end of the buffer.
class Record {
public:
    static constexpr int capacity = 8191;

    Record() { m_text[0] = m_text[capacity] = '\0'; }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    void append(std::string_view text) {
        const std::size_t taken = std::min(text.size(), room());
        std::memcpy(m_text + m_length, text.data(), taken);
        advance(taken, text.size());
    }

    /// Appends a number, filled up from the left to `width` places.
    void appendNumber(int value, int width = 0, char fill = '0') {
        char digits[16];
        char* const end = digits + sizeof(digits);
        char* first = end;
        auto rest = static_cast<unsigned int>(value < 0 ? -static_cast<long>(value) : value);
        do {
            *--first = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest != 0);
        while (end - first < width) *--first = fill;
        if (value < 0) *--first = '-';
        append({first, static_cast<std::size_t>(end - first)});
    }

    void appendFormat(const char* format, va_list arguments) VESKO_PRINTF(2, 0) {
        // One more than the room: the formatter counts its terminating zero.
        const int wanted = std::vsnprintf(m_text + m_length, room() + 1, format, arguments);
        // A format that failed, or whose text is longer than a number can tell, leaves what it wrote.
        const std::size_t size =
            wanted >= 0 ? static_cast<std::size_t>(wanted) : ::strnlen(m_text + m_length, room());
        advance(std::min(size, room()), size);
    }

    const char* text() const { return m_text; }
    int length() const { return m_length; }

    /// @return true when the line ends here: the record was cut, or ends in a line feed
    bool endsLine() const { return m_cut || (m_length > 0 && m_text[m_length - 1] == '\n'); }

private:
    std::size_t room() const { return static_cast<std::size_t>(capacity - m_length); }

    void advance(std::size_t taken, std::size_t wanted) {
        m_length += static_cast<int>(taken);
        m_text[m_length] = '\0';
        m_cut = m_cut || taken < wanted;
    }

    int m_length = 0;
    bool m_cut = false;
    char m_text[capacity + 1];
};

}  // namespace Tovra::Vesko::Detail
