#pragma once

#include <cstdint>

#include "platform/sync.h"

/// Processes.
///
/// Threads: any thread may call any function.
namespace Tovra::Platform {

/// A process that was started. Both handles are the caller's to close.
struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;  // of its first thread, whose end cannot be told from that of the process
    std::uint32_t dwProcessId;
};

/// Starts a program and does not wait for it.
///
/// Blanks part the words of the line. '...' keeps all characters as they are; in "..." a backslash
/// does so to the next one if that is ", \, $ or `, and outside of quotes to any. Nothing is expanded
/// and no shell takes part, not even for a file that the system refuses to execute. A name without
/// '/' is looked for along PATH. Of the caller's open files the program has 0, 1 and 2; its signals
/// are not blocked and have their default effect; all else is inherited.
///
/// Waiting for its end, or closing both handles after it, frees the entry of the process in the
/// system's table. One whose handles are closed before keeps that entry until this program ends.
/// @param commandLine is cut into its words in place
/// @return false when the line is empty, a quotation in it does not end, or the program cannot be
///         executed; the reason is in `errno`, and `process` untouched
bool CreateProcessA(char* commandLine, PROCESS_INFORMATION& process);

std::uint32_t GetCurrentProcessId();

}  // namespace Tovra::Platform
