#pragma once

#include "vesko/export.h"

/// The debugger channel.
namespace Tovra::Platform {

/// Hands a text to a debugger: an empty function that is never inlined, at which a debugger sets a
/// breakpoint. It writes nothing.
VESKO_API void OutputDebugStringA(const char* text);

}  // namespace Tovra::Platform
