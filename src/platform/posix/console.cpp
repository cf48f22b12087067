#include "platform/console.h"

namespace Tovra::Platform {

[[gnu::noinline]] void OutputDebugStringA(const char* text) {
    // Without this the compiler would see that the argument is not used, and no longer pass it.
    asm volatile("" : : "r"(text) : "memory");
}

}  // namespace Tovra::Platform
