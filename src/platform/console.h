#pragma once

#include <cstdint>

#include "vesko/export.h"

/// The debugger channel, and the colours of the terminal that standard output may be.
///
/// Threads: any thread may call any function.
namespace Tovra::Platform {

/// Hands a text to a debugger: an empty function that is never inlined, at which a debugger sets a
/// breakpoint. It writes nothing.
VESKO_API void OutputDebugStringA(const char* text);

/// A console: an output stream that may be a terminal. One that was found to be none stays none, even
/// if the stream is sent to a terminal later.
class Console;

inline constexpr std::int32_t STD_OUTPUT_HANDLE = -11;

/// @return the console behind standard output; null for any other number
Console* GetStdHandle(std::int32_t number);

// Bits of a text attribute. No bit at all is the terminal's own colour.
inline constexpr std::uint16_t FOREGROUND_BLUE = 1;
inline constexpr std::uint16_t FOREGROUND_GREEN = 2;
inline constexpr std::uint16_t FOREGROUND_RED = 4;

/// Reads the attribute that text had before anything was coloured here: a terminal cannot be asked
/// for the one it has now, and what one thread saves while another one prints must not be its colour.
/// @return false, with `attributes` untouched, when the console is no terminal
bool GetConsoleScreenBufferInfo(Console* console, std::uint16_t* attributes);

/// Gives the text that follows an attribute, by a colour sequence. What stands in the runtime
/// library's stream must be flushed before.
/// @return false, and nothing is written, when the console is no terminal
bool SetConsoleTextAttribute(Console* console, std::uint16_t attributes);

}  // namespace Tovra::Platform
