#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/string.h"

/// Last error, error messages and the end of a failed assertion.
///
/// Threads: any thread may call any function. The last error belongs to the calling thread; the
/// messages are shared by the whole process.
namespace Tovra::Vesko {

/// Stores the last error of the calling thread.
VESKO_API void setLastError(int code);

/// @return the last error of the calling thread; 0 if it never set one
VESKO_API int getLastError();

/// Installs or replaces the message of an error code.
/// @param message null reads as the empty text
VESKO_API void setErrMsg(int code, const char* message);

/// Reads the message of an error code.
/// @return the text, or the empty text for an unknown code; never null. It is valid until the
///         message of this code is replaced.
VESKO_API const char* getErrMsg(int code);

/// Installs or replaces the message of an error code, as `setErrMsg` does.
VESKO_API void setErrorMessage(int code, const CString& message);

/// @return a copy of what `getErrMsg` gives
VESKO_API CString getErrorMessage(int code);

namespace Detail {

/// Reports a failed assertion on standard error and in the log (level 4), and ends the process with
/// `abort`, on the stack that failed.
/// @param expression the text of what was false
/// @param function   signature of the function that checked it
[[noreturn]] VESKO_API void assertionFailed(const char* expression, const char* function,
                                            const char* file, long line);

/// As `assertionFailed`, with a message at the end of the line.
[[noreturn]] VESKO_API void assertionFailedMsg(const char* expression, const char* message,
                                               const char* function, const char* file, long line);

}  // namespace Detail

}  // namespace Tovra::Vesko
