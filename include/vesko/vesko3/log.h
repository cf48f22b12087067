#pragma once

#include "vesko/export.h"

/// Levelled, printf-style log records. A record passes when its level is at most the threshold that
/// `setPrintLogLevel` sets; it then goes to the debugger channel and to standard output.
///
/// Levels: 1 fatal, 2 error, 3 warn, 4 info, 5 trace, 6 debug. The threshold starts at 3.
/// A record holds at most 8191 characters; a longer message is cut there.
/// Threads: any thread may call any function at any time. A record is built on the caller's stack,
/// without heap; the order of records of different threads is not promised.
namespace Tovra::Vesko {

/// Each prints a record of its own level.
/// @return characters in the record; 0 when the level does not pass
VESKO_API int logFatal(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logError(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logWarn(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logInfo(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logTrace(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logDebug(const char* format, ...) VESKO_PRINTF(1, 2);

/// Prints a record that names its origin.
/// @param level    1 to 6; any other level prints nothing
/// @param module   the program or library that speaks
/// @param file     source file
/// @param function name of the function
/// @param line     source line
/// @param version  version of the module
/// @return characters in the record; 0 when it does not pass
VESKO_API int logFilter(int level, const char* module, const char* file, const char* function,
                        int line, const char* version, const char* format, ...) VESKO_PRINTF(7, 8);

/// Sets the threshold. 0 silences everything; any integer is taken.
VESKO_API void setPrintLogLevel(int level);

/// @return the threshold
VESKO_API int getPrintLogLevel();

}  // namespace Tovra::Vesko

// The level functions stand in the global namespace too: the same functions under a second name.
using Tovra::Vesko::logDebug;
using Tovra::Vesko::logError;
using Tovra::Vesko::logFatal;
using Tovra::Vesko::logInfo;
using Tovra::Vesko::logTrace;
using Tovra::Vesko::logWarn;
