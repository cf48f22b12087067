#pragma once

#include "platform/thread.h"
#include "vesko/vesko3/log.h"
#include "vesko3/functionname.h"
#include "vesko3/loglevel.h"

// How the library's own code prints. The name of a macro tells its route and its prefix:
//
//   VESKO_FILTERED...  through logFilter, with this place as origin
//   VESKO_DIRECT...    through the level function of that name
//   ..._OBJECT         "[file:line] this:address tid:thread, " before the message
//   ..._THREAD         "[file:line] tid:thread, " before the message
//   (neither)          the bare message
//
// The prefix is joined to the format at compile time, so it takes macros. The filtered ones take the
// level by name: error, warn, info, trace or debug.

#define VESKO_OBJECT_PREFIX "[%s:%d] this:%p tid:%d, "
#define VESKO_THREAD_PREFIX "[%s:%d] tid:%d, "
#define VESKO_OBJECT_ARGUMENTS                          \
    __FILE__, __LINE__, static_cast<const void*>(this), \
        static_cast<int>(::Tovra::Platform::GetCurrentThreadId())
#define VESKO_THREAD_ARGUMENTS \
    __FILE__, __LINE__, static_cast<int>(::Tovra::Platform::GetCurrentThreadId())

#define VESKO_FILTERED(level, ...)                                                           \
    do {                                                                                     \
        static constexpr ::Tovra::Vesko::Detail::QualifiedName s_here(__PRETTY_FUNCTION__);  \
        ::Tovra::Vesko::logFilter(::Tovra::Vesko::Detail::level##Level, "Unknown", __FILE__, \
                                  s_here.text(), __LINE__, "Unknown", __VA_ARGS__);          \
    } while (false)
#define VESKO_FILTERED_OBJECT(level, format, ...)     \
    VESKO_FILTERED(level, VESKO_OBJECT_PREFIX format, \
                   VESKO_OBJECT_ARGUMENTS __VA_OPT__(, ) __VA_ARGS__)
#define VESKO_FILTERED_THREAD(level, format, ...)     \
    VESKO_FILTERED(level, VESKO_THREAD_PREFIX format, \
                   VESKO_THREAD_ARGUMENTS __VA_OPT__(, ) __VA_ARGS__)

#define VESKO_DIRECT_OBJECT(levelFunction, format, ...)       \
    ::Tovra::Vesko::levelFunction(VESKO_OBJECT_PREFIX format, \
                                  VESKO_OBJECT_ARGUMENTS __VA_OPT__(, ) __VA_ARGS__)
#define VESKO_DIRECT_THREAD(levelFunction, format, ...)       \
    ::Tovra::Vesko::levelFunction(VESKO_THREAD_PREFIX format, \
                                  VESKO_THREAD_ARGUMENTS __VA_OPT__(, ) __VA_ARGS__)
