#pragma once

#include <memory>
#include <string>

#include "vesko/export.h"
#include "vesko/vesko3/detail/allocatorstringstorage.h"
#include "vesko/vesko3/detail/flex_string_shell.h"
#include "vesko/vesko3/detail/smallstringopt.h"

namespace Tovra::Vesko {

/// The string of the library's interfaces: 32 bytes, with up to 31 characters inside the object.
///
/// Offers what `std::string` offers and is explicitly made from it. Longer texts live in a block
/// of exactly the capacity they need: who appends in small steps reserves first. A text that is cut
/// to 31 characters or fewer gives its block and any reservation back, and pointers into it are
/// then invalid, as they are after a swap or a move of a text that lies inside the object.
/// Threads: as for an `int`, but `c_str()`, `data()` and `s[s.size()]` count as writing.
using CString = Detail::flex_string<
    char, std::char_traits<char>, std::allocator<char>,
    Detail::SmallStringOpt<Detail::AllocatorStringStorage<char, std::allocator<char>>, 31, char*>>;

}  // namespace Tovra::Vesko

// Compiled once, in the library. What is short stays inline all the same.
extern template class VESKO_API
    Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>;
extern template class VESKO_API Tovra::Vesko::Detail::SmallStringOpt<
    Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>, 31, char*>;
extern template class VESKO_API Tovra::Vesko::Detail::flex_string<
    char, std::char_traits<char>, std::allocator<char>,
    Tovra::Vesko::Detail::SmallStringOpt<
        Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>, 31, char*>>;

static_assert(sizeof(Tovra::Vesko::CString) == 32);
