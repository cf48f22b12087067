#include "platform/thread.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/tls.h"

namespace {

using namespace Tovra::Platform;

std::uint32_t kernelThreadId() { return static_cast<std::uint32_t>(::syscall(SYS_gettid)); }

TEST(ThreadId, IsTheKernelsOnEveryThread) {
    EXPECT_EQ(GetCurrentThreadId(), kernelThreadId());
    std::thread([] { EXPECT_EQ(GetCurrentThreadId(), kernelThreadId()); }).join();
}

TEST(ThreadId, IsTheChildsOwnAfterAFork) {
    ASSERT_EQ(GetCurrentThreadId(), kernelThreadId());  // now it is remembered
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ::_exit(GetCurrentThreadId() == kernelThreadId() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(Tls, RefusesWhatIsNoSlot) {
    EXPECT_FALSE(TlsSetValue(TLS_OUT_OF_INDEXES, nullptr));
    EXPECT_EQ(TlsGetValue(TLS_OUT_OF_INDEXES), nullptr);
    EXPECT_FALSE(TlsFree(TLS_OUT_OF_INDEXES));
}

}  // namespace
