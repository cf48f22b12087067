#pragma once

#include <cstddef>
#include <cstring>

namespace Tovra::Vesko::Detail {

/// Copies a text into a field of fixed size. What does not fit is cut; the copy always ends in a
/// zero.
template <std::size_t size>
void copyText(char (&field)[size], const char* text) {
    const std::size_t length = ::strnlen(text, size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}

}  // namespace Tovra::Vesko::Detail
