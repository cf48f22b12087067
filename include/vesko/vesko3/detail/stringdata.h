#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace Tovra::Vesko::Detail {

/// The heap block of a string storage: two ends, then the characters.
///
/// The block is allocated longer than the type, so `buffer_` goes on to `pEndOfMem_`. The padding
/// behind its one told element is where the terminator of a full block stands.
template <class E>
struct StringData {
    static_assert(std::is_trivially_copyable_v<E>, "characters are moved as plain memory");

    E* pEnd_;       ///< one past the last character
    E* pEndOfMem_;  ///< one past the capacity
    E buffer_[1];   ///< the characters
};

/// Copies characters; the ranges may overlap, and null pointers may stand for no characters.
template <class E>
inline void copyCharacters(E* to, const E* from, std::size_t count) {
    if (count != 0) std::memmove(to, from, count * sizeof(E));
}

/// What every string operation does with a position beyond the size.
[[noreturn]] inline void throwOutOfRange() { throw std::out_of_range(""); }

/// What every string operation does with a size beyond `max_size()`.
[[noreturn]] inline void throwLengthError() { throw std::length_error(""); }

}  // namespace Tovra::Vesko::Detail
