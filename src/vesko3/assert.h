#pragma once

#include "vesko/vesko3/error.h"

/// Checks a precondition in every build: a false expression ends the process with a line that shows
/// the expression's own text, and the place.
#define VESKO_ASSERT(expression)                                                              \
    ((expression) ? static_cast<void>(0)                                                      \
                  : ::Tovra::Vesko::Detail::assertionFailed(#expression, __PRETTY_FUNCTION__, \
                                                            __FILE__, __LINE__))

/// As `VESKO_ASSERT`, with a fixed message at the end of the line.
#define VESKO_ASSERT_MESSAGE(expression, message)               \
    ((expression) ? static_cast<void>(0)                        \
                  : ::Tovra::Vesko::Detail::assertionFailedMsg( \
                        #expression, message, __PRETTY_FUNCTION__, __FILE__, __LINE__))
