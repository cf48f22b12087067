#pragma once

namespace Tovra::Vesko::Detail {

/// Sets the full name of the log file; the empty name ends file output. A file that is open stays so.
void setLogFilePath(const char* path);

/// Sets the size at which the log file is emptied before the next record.
void setLogFileLimit(int limitBytes);

/// Appends a record to the log file, if there is one, and flushes it.
/// @return 0, also when there is none; -1 when the file could not be opened; the reason is on standard error
int writeLogFile(const char* text, int length);

}  // namespace Tovra::Vesko::Detail
