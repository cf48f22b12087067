#include "platform/thread.h"

#include <errno.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace Tovra::Platform::Detail {

constinit thread_local std::uint32_t s_threadId = 0;

namespace {
// The child of a fork has one thread, a copy of the one that forked, with an id of its own.
void forgetThreadId() { s_threadId = 0; }
}  // namespace

std::uint32_t fetchThreadId() {
    static const int s_registered = ::pthread_atfork(nullptr, nullptr, &forgetThreadId);
    static_cast<void>(s_registered);
    s_threadId = static_cast<std::uint32_t>(::syscall(SYS_gettid));
    return s_threadId;
}

}  // namespace Tovra::Platform::Detail

namespace Tovra::Platform {

void Sleep(std::uint32_t milliSeconds) {
    timespec left{milliSeconds / 1000, (milliSeconds % 1000) * 1'000'000L};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace Tovra::Platform
