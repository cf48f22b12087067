#include "vesko/vesko3/string.h"

template class Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>;
template class Tovra::Vesko::Detail::SmallStringOpt<
    Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>, 31, char*>;
template class Tovra::Vesko::Detail::flex_string<
    char, std::char_traits<char>, std::allocator<char>,
    Tovra::Vesko::Detail::SmallStringOpt<
        Tovra::Vesko::Detail::AllocatorStringStorage<char, std::allocator<char>>, 31, char*>>;
