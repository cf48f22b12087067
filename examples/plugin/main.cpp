// Finds a class in a shared library by its name alone.

#include <cstdio>

#include "greeter.h"
#include "vesko/component/client.h"
#include "vesko/component/registry.h"

int main() {
    using namespace Tovra::Component;
    const TComPtr<IGreeter> greeter(
        static_cast<IGreeter*>(getComponentInstance("Greeter", nullptr)));
    if (greeter.isEmpty()) {
        std::fputs("plugin: no Greeter.so where the loader looks\n", stderr);
        return 1;
    }
    std::printf("%s\n", greeter->greeting());
    const TComPtr<IGreeter> again(static_cast<IGreeter*>(getComponentInstance("Greeter", nullptr)));
    return again.get() == greeter.get() ? 0 : 1;
}
