#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "vesko/export.h"

namespace Tovra::Vesko::Detail {

/// The text of one log record, built on the stack of the thread that prints it. What does not fit is
/// cut at the end of the buffer. The message comes last, and ends the text with a zero.
class Record {
public:
    static constexpr int capacity = 8191;

    Record() { m_text[0] = m_text[capacity] = '\0'; }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    // Character by character: the pieces of a header are too short to be worth a call.
    void append(const char* text) {
        int length = m_length;
        while (*text != '\0' && length < capacity) m_text[length++] = *text++;
        m_length = length;
        m_cut = m_cut || *text != '\0';
    }

    void append(char letter) {
        if (m_length < capacity) {
            m_text[m_length++] = letter;
        } else {
            m_cut = true;
        }
    }

    /// Appends a number, filled up from the left to `width` places.
    void appendNumber(int value, int width = 0, char fill = '0') {
        char digits[16];
        char* const end = digits + sizeof(digits) - 1;
        char* first = end;
        *end = '\0';
        auto rest = static_cast<unsigned int>(value < 0 ? -static_cast<long>(value) : value);
        do {
            *--first = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest != 0);
        while (end - first < width) *--first = fill;
        if (value < 0) *--first = '-';
        append(first);
    }

    /// Appends a number from 0 to 99 in two digits, as most of a date and all of a time of day have.
    void appendTwoDigits(int value) {
        append(static_cast<char>('0' + value / 10));
        append(static_cast<char>('0' + value % 10));
    }

    void appendFormat(const char* format, va_list arguments) VESKO_PRINTF(2, 0) {
        m_text[m_length] = '\0';
        // One more than the room: the formatter counts its terminating zero.
        const int wanted = std::vsnprintf(m_text + m_length, room() + 1, format, arguments);
        // A format that failed, or whose text is longer than a number can tell, leaves what it wrote.
        const std::size_t size =
            wanted >= 0 ? static_cast<std::size_t>(wanted) : ::strnlen(m_text + m_length, room());
        if (wanted < 0 && size == room()) m_cut = true;
        advance(std::min(size, room()), size);
        m_text[m_length] = '\0';
    }

    const char* text() const { return m_text; }
    int length() const { return m_length; }

    /// @return true when the line ends here: the record was cut, or ends in a line feed
    bool endsLine() const { return m_cut || (m_length > 0 && m_text[m_length - 1] == '\n'); }

private:
    std::size_t room() const { return static_cast<std::size_t>(capacity - m_length); }

    void advance(std::size_t taken, std::size_t wanted) {
        m_length += static_cast<int>(taken);
        m_cut = m_cut || taken < wanted;
    }

    int m_length = 0;
    bool m_cut = false;
    char m_text[capacity + 1];
};

}  // namespace Tovra::Vesko::Detail
