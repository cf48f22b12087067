#pragma once

#include <cstdint>

/// Threads, as far as the library knows them.
namespace Tovra::Platform {

namespace Detail {
// 0 until the thread first asks. Stands here so that the locks, which ask at every turn, need no
// call.
extern constinit thread_local std::uint32_t s_threadId
    __attribute__((tls_model("initial-exec"), visibility("hidden")));

std::uint32_t fetchThreadId();
}  // namespace Detail

/// @return the kernel's id of the calling thread, never 0; right in the child of a fork too. Makes
///         a system call only the first time on each thread.
inline std::uint32_t GetCurrentThreadId() {
    const std::uint32_t id = Detail::s_threadId;
    return id != 0 ? id : Detail::fetchThreadId();
}

/// Blocks the calling thread for at least so long, whatever signals it handles meanwhile.
void Sleep(std::uint32_t milliSeconds);

}  // namespace Tovra::Platform
