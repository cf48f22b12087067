#include "vesko3/buildstamp.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace Tovra::Vesko::Detail {

namespace {

constexpr std::string_view s_monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
static_assert(std::size(s_monthNames) == 12);

// Counted from 1, and so 13 for a name that is in no place.
int monthOf(std::string_view name) {
    const auto* const found = std::ranges::find(s_monthNames, name);
    return static_cast<int>(found - std::begin(s_monthNames)) + 1;
}

}  // namespace

const char* readNumber(const char* text, int& number) {
    char* rest = nullptr;
    const long value = std::strtol(text, &rest, 10);
    if (rest == text) return nullptr;
    number = static_cast<int>(value);
    return rest;
}

void readDate(const char* text, SystemTime& date) {
    constexpr std::size_t nameLength = 3;
    const std::string_view whole(text);
    date.month = monthOf(whole.substr(0, nameLength));
    if (whole.size() < nameLength) return;
    const char* const rest = readNumber(text + nameLength, date.day);
    if (rest != nullptr) readNumber(rest, date.year);
}

}  // namespace Tovra::Vesko::Detail
