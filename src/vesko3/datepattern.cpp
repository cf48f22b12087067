#include "vesko3/datepattern.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>

namespace Tovra::Vesko::Detail {

namespace {

/// What happens to a character of a pattern. Letters of one kind join to runs.
enum class Kind : unsigned char { plain, date, hour, minute, second, halfOfDay, separator };

constexpr auto kinds = [] {
    std::array<Kind, 256> table{};
    for (const char letter : {'y', 'M', 'd'})
        table[static_cast<unsigned char>(letter)] = Kind::date;
    table['H'] = table['h'] = Kind::hour;
    table['m'] = Kind::minute;
    table['s'] = Kind::second;
    table['t'] = Kind::halfOfDay;
    table['-'] = table['.'] = table['/'] = Kind::separator;
    return table;
}();

Kind kindOf(char letter) { return kinds[static_cast<unsigned char>(letter)]; }

/// The part of a date that a slot holds. A width of 0 makes an empty text.
struct Slot {
    int value = 0;
    int width = 0;
};

// As a printf of "%0*d" writes it: the fields of a time may hold anything.
char* writeAnyNumber(char* out, int value, int width) {
    char digits[12];
    // 64 bits hold the absolute value of every int.
    const char* end =
        std::to_chars(std::begin(digits), std::end(digits), std::abs(std::int64_t{value})).ptr;
    if (value < 0) *out++ = '-';
    for (auto missing = width - (end - digits) - (value < 0 ? 1 : 0); missing > 0; --missing) {
        *out++ = '0';
    }
    return std::copy(static_cast<const char*>(digits), end, out);
}

char* writeTwoDigits(char* out, unsigned int value) {
    *out++ = static_cast<char>('0' + value / 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
}

// The numbers of ordinary times, and the way for all others.
char* writeNumber(char* out, int value, int width) {
    const auto number = static_cast<unsigned int>(value);
    if (number < 100 && (number >= 10 || width == 2)) return writeTwoDigits(out, number);
    if (number < 10 && width == 1) {
        *out = static_cast<char>('0' + number);
        return out + 1;
    }
    return writeAnyNumber(out, value, width);
}

char* writeSlot(char* out, const Slot& slot) {
    if (slot.width == 0) return out;
    const auto number = static_cast<unsigned int>(slot.value);
    if (slot.width < 4 || number >= 10'000) return writeNumber(out, slot.value, slot.width);
    return writeTwoDigits(writeTwoDigits(out, number / 100), number % 100);
}

int widthOf(int letters) { return letters > 2 ? 2 : letters; }

using Slots = std::array<Slot, 3>;

// By one place alone: a text that follows two empty ones is left in the second slot. The third
// keeps its text too.
void closeUp(Slots& slots) {
    if (slots[0].width == 0) {
        slots[0] = slots[1];
        slots[1] = slots[2];
    } else if (slots[1].width == 0) {
        slots[1] = slots[2];
    }
}

Slots inOrder(CTime::DateFormat order, Slot year, Slot month, Slot day) {
    switch (order) {
        case CTime::mdy:
            return {month, day, year};
        case CTime::dmy:
            return {day, month, year};
        default:
            return {year, month, day};
    }
}

// All letters of the pattern count, not only those of the first run.
Slots slotsOf(const SystemTime& time, std::string_view pattern, CTime::DateFormat order) {
    int years = 0;
    int months = 0;
    int days = 0;
    for (const char letter : pattern) {
        years += letter == 'y';
        months += letter == 'M';
        days += letter == 'd';
    }
    Slot year;
    if (years > 2) {
        year = {time.year, 4};
    } else if (years > 0) {
        year = {time.year % 100, 2};
    }
    Slots slots = inOrder(order, year, {time.month, widthOf(months)}, {time.day, widthOf(days)});
    closeUp(slots);
    return slots;
}

int displayHour(int hour, bool twelveHours) {
    if (!twelveHours) return hour;
    if (hour == 0) return 12;
    return hour > 12 ? hour - 12 : hour;
}

char* writeHalfOfDay(char* out, int hour) {
    *out++ = hour >= 12 ? 'P' : 'A';
    *out++ = 'M';
    return out;
}

char* withoutBlanks(const char* begin, char* end) {
    while (end != begin && end[-1] == ' ') --end;
    return end;
}

// Where the run ends that begins at `at`. Both letters of the hour make one run; any other run is
// of one letter.
const char* endOfRun(const char* at, const char* end, Kind kind) {
    const char letter = *at++;
    while (at != end && (*at == letter || (kind == Kind::hour && kindOf(*at) == kind))) ++at;
    return at;
}

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

// A number too large for an int becomes the largest: the fields are brought into their ranges
// later.
int withDigit(int number, char digit) {
    constexpr int largest = std::numeric_limits<int>::max();
    const int value = digit - '0';
    return number > (largest - value) / 10 ? largest : number * 10 + value;
}

struct Numbers {
    std::array<int, 6> values{};
    std::size_t count = 0;
};

Numbers readNumbers(std::string_view text) {
    Numbers numbers;
    std::size_t at = 0;
    while (numbers.count < numbers.values.size() && at < text.size()) {
        int& number = numbers.values[numbers.count++];
        for (; at < text.size() && isDigit(text[at]); ++at) number = withDigit(number, text[at]);
        while (at < text.size() && !isDigit(text[at])) ++at;
    }
    return numbers;
}

void assignDate(SystemTime& time, const std::array<int, 6>& values, CTime::DateFormat order) {
    switch (order) {
        case CTime::ymd:
            time.year = values[0];
            time.month = values[1];
            time.day = values[2];
            break;
        case CTime::mdy:
            time.month = values[0];
            time.day = values[1];
            time.year = values[2];
            break;
        case CTime::dmy:
            time.day = values[0];
            time.month = values[1];
            time.year = values[2];
            break;
    }
}

bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// From 12 hours and the half of the day that the text names to 24.
DateParse resolveHalfOfDay(SystemTime& time, std::string_view text) {
    if (time.hour > 12) return DateParse::hourTooLarge;
    if (holds(text, "PM")) {
        if (time.hour != 12) time.hour += 12;
    } else if (holds(text, "AM")) {
        if (time.hour == 12) time.hour = 0;
    } else {
        return DateParse::noHalfOfDay;
    }
    return DateParse::good;
}

}  // namespace

std::optional<CTime::DateFormat> findDateOrder(std::string_view pattern) {
    // What is missing is at npos, behind all others; two that are missing have no order.
    const std::size_t year = pattern.find('y');
    const std::size_t month = pattern.find('M');
    const std::size_t day = pattern.find('d');
    if (year < month && month < day) return CTime::ymd;
    if (month < day && day < year) return CTime::mdy;
    if (day < month && month < year) return CTime::dmy;
    return std::nullopt;
}

std::optional<char> findSeparator(std::string_view pattern) {
    for (const char separator : {'.', '/', '-'}) {
        if (pattern.find(separator) != std::string_view::npos) return separator;
    }
    return std::nullopt;
}

bool asksForTwelveHours(std::string_view pattern) {
    return pattern.find('h') != std::string_view::npos;
}

void writeDate(char* out, const SystemTime& time, std::string_view pattern,
               const DateStyle& style) {
    const Slots slots = slotsOf(time, pattern, style.order);
    const char* const begin = out;
    const char* const end = pattern.data() + pattern.size();
    auto slot = slots.begin();
    for (const char* at = pattern.data(); at != end;) {
        const Kind kind = kindOf(*at);
        if (kind == Kind::plain || kind == Kind::separator) {
            const bool replaced = kind == Kind::separator && !style.keepsSeparators;
            *out++ = replaced ? style.separator : *at;
            ++at;
            continue;
        }
        const char* const next = endOfRun(at, end, kind);
        const int width = next - at == 1 ? 1 : 2;
        at = next;
        switch (kind) {
            case Kind::date:
                if (slot != slots.end()) out = writeSlot(out, *slot++);
                break;
            case Kind::hour:
                out = writeNumber(out, displayHour(time.hour, style.twelveHours), width);
                break;
            case Kind::minute:
                out = writeNumber(out, time.minute, width);
                break;
            case Kind::second:
                out = writeNumber(out, time.second, width);
                break;
            default:  // the half of the day
                out =
                    style.twelveHours ? writeHalfOfDay(out, time.hour) : withoutBlanks(begin, out);
        }
    }
    *out = '\0';
}

DateParse readDate(SystemTime& time, std::string_view text, std::string_view pattern) {
    const Numbers numbers = readNumbers(text);
    if (const auto order = findDateOrder(pattern)) assignDate(time, numbers.values, *order);
    time.hour = numbers.values[3];
    time.minute = numbers.values[4];
    time.second = numbers.values[5];
    if (numbers.count < numbers.values.size()) return DateParse::tooFewNumbers;
    return asksForTwelveHours(pattern) ? resolveHalfOfDay(time, text) : DateParse::good;
}

}  // namespace Tovra::Vesko::Detail
