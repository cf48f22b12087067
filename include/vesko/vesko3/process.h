#pragma once

#include <cstdint>

#include "vesko/export.h"

/// Starting other programs, and this process itself.
///
/// Threads: any thread may call any function.
namespace Tovra::Vesko {

/// Runs a command line and waits, without limit, until the program has ended.
///
/// No shell takes part: blanks part the words, '...' and "..." keep them together, a backslash takes
/// the next character as it is (but stands for itself within '...', and within "..." before all but
/// one of "\$` and itself), and nothing is expanded or redirected. The program is looked for
/// along PATH. It inherits the environment, the current directory and the three standard streams,
/// but no other open file. The command goes to the log at the debug level.
/// @param cmd at most 259 characters
/// @return 0 when the program ran, whatever its exit code; 1 for null; -1, with the reason in the
///         log, when `cmd` is too long or cannot be started
VESKO_API int systemCall(const char* cmd);

/// @return the id of the calling process
VESKO_API std::uint64_t getCurrectProcessID();

}  // namespace Tovra::Vesko
