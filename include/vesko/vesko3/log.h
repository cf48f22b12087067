#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/function.h"

/// Levelled, printf-style log records.
///
/// A record is a header (time, module, version, level, place, thread) and a message. It passes when
/// its level is at most the threshold; it then goes to the debugger channel and to standard output,
/// or to an installed printer instead, to every attached print proc, and to the log file if one is
/// set. On a terminal each level has its colour.
///
/// Levels: 1 fatal, 2 error, 3 warn, 4 info, 5 trace, 6 debug. The threshold starts at 3.
/// A record holds at most 8191 characters; a longer message is cut there. A record that does not end
/// in a line feed leaves its line open: the next record, of whatever thread, continues it without a
/// header.
/// Threads: any thread may call any function at any time, from library load on. A record is built on
/// the caller's stack, without heap; the order of records of different threads is not promised.
namespace Tovra::Vesko {

/// Each prints a record of its own level. They do not consult the module filter.
/// @return characters in the record, header included; 0 when the level does not pass
VESKO_API int logFatal(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logError(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logWarn(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logInfo(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logTrace(const char* format, ...) VESKO_PRINTF(1, 2);
VESKO_API int logDebug(const char* format, ...) VESKO_PRINTF(1, 2);

/// Prints a record that names its origin, if the module filter lets it pass. Null texts read as empty.
/// @param level    1 to 6; any other level prints nothing
/// @param module   the program or library that speaks; null is never filtered out
/// @param file     source file; the part behind the last '/' is printed
/// @param function name of the function
/// @param line     source line; file and line are printed only when it is above 0
/// @param version  version of the module
/// @return characters in the record, header included; 0 when it does not pass
VESKO_API int logFilter(int level, const char* module, const char* file, const char* function,
                        int line, const char* version, const char* format, ...) VESKO_PRINTF(7, 8);

/// Prints a record of a library that names itself. It does not consult the module filter.
/// @param level   1 to 6; any other level prints nothing
/// @param libName stands as the module
/// @return characters in the record, header included; 0 when it does not pass
VESKO_API int logLibName(int level, const char* libName, const char* format, ...)
    VESKO_PRINTF(3, 4);

/// Prints bytes at level 5, in rows of 16: address, hexadecimal digits, text. A record with an empty
/// line follows the first row and every 32nd row after it. A row is made of several records: those of
/// other threads may fall between.
/// @param length bytes; 0 prints nothing
VESKO_API void dumpHex(unsigned char* data, unsigned int length);

/// Sets the threshold. 0 silences everything; any integer is taken.
VESKO_API void setPrintLogLevel(int level);

/// @return the threshold
VESKO_API int getPrintLogLevel();

/// What a record's header holds. Each field is a switch: zero is the default that its name denies.
struct PrintOptions {
    unsigned char noTime;            // leave out the time of day
    unsigned char noColor;           // do not change the colour of the terminal; standard output
                                     // that was found to be none is not looked at again
    unsigned char noModule;          // leave out the module
    unsigned char noLevel;           // leave out the level
    unsigned char noThread;          // leave out the thread id
    unsigned char noVersion;         // leave out the version
    unsigned char noFunction;        // leave out the function
    unsigned char noFile;            // leave out the file
    unsigned char noLine;            // leave out the line
    unsigned char withDate;          // put the date before the time
    unsigned char withMilliseconds;  // add milliseconds to the time of day
    unsigned char tagged;        // mark each element by a letter: "|T:...M:module|V:version|..."
    unsigned char reserved[20];  // kept and handed back
};

/// Sets all options at once.
VESKO_API void setPrintOptions(PrintOptions options);

/// Copies the options out.
/// @return 0
/// @pre `options` is not null
VESKO_API int getPrintOptions(PrintOptions* options);

/// Hands every record to `printer`, in place of the debugger channel and standard output.
///
/// No lock is held while it runs. One that is replaced may still run, or get one more record, on
/// another thread after the call: its object outlives that. It gets what it prints itself, too, so
/// that it must not print for every record; the same holds for print procs.
/// @param printer an empty delegate brings those back
/// @return 0
VESKO_API int setLogPrinter(TFunction1<void, const char*> printer);

/// Hands every record to `proc` as well, in order of attachment. Its result is ignored. No lock is
/// held while it runs, so it may attach and detach; a proc detached during a record may still get it.
/// @return false when an equal delegate is attached already
VESKO_API bool attachPrint(TFunction1<bool, const char*> proc);

/// Ends what `attachPrint` began.
/// @return false when no equal delegate is attached
VESKO_API bool detachPrint(TFunction1<bool, const char*> proc);

/// Runs a command on the log's settings, given as a shell would hand it over, without a program name.
///
/// "-loglevel N" sets the threshold. "-logmodule NAME on|off" lets records of a module pass or not;
/// "-logmodule on|off" does so for all of `logFilter`. "-logtime", "-logthread", "-logversion" and
/// "-logfunction", each with on|off, set options of the header. "-logpath FILE" names the log file;
/// the empty name ends it. A file that is open stays in use until `logCleanup` or its limit. "-logsize
/// N" limits it to N KiB: a file that has reached its limit is emptied before the next record, and
/// without a limit it holds the latest record alone; the size of an existing file is asked for once.
/// No command, or "-h" alone, prints the usage. Anything else, and a command without its argument,
/// does nothing.
///
/// Any word but "on" turns off, for all modules any but "off" turns on, in letters of either case. To
/// let one module pass again also ends "-logmodule off" for the others. A number that is none is 0.
VESKO_API void setLogFilter(int argc, char* const argv[]);

/// Closes the log file. The next record opens it again and counts on from its size.
VESKO_API void logCleanup();

}  // namespace Tovra::Vesko

// The level functions stand in the global namespace too: the same functions under a second name.
using Tovra::Vesko::logDebug;
using Tovra::Vesko::logError;
using Tovra::Vesko::logFatal;
using Tovra::Vesko::logInfo;
using Tovra::Vesko::logTrace;
using Tovra::Vesko::logWarn;
