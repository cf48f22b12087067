#pragma once

/// Marks a class or function as part of the library's interface. Everything else is hidden.
#define VESKO_API __attribute__((visibility("default")))

/// Lets the compiler check the arguments of a printf-style function against its format.
/// @param text      place of the format among the parameters; `this` counts as the first
/// @param arguments place of the first variable argument, 0 for a `va_list`
#define VESKO_PRINTF(text, arguments) __attribute__((format(printf, text, arguments)))
