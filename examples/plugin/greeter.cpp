// A class in a shared library of its own: "Greeter.so" with "createGreeterObject" is all that the
// registry needs to find it by the name "Greeter".

#include "greeter.h"

#include "vesko/component/registry.h"

namespace {

class Greeter : public IGreeter {
public:
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
    const char* greeting() override { return "hello from a plugin"; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Tovra::Component::IUnknown* createGreeterObject(
    const Tovra::Component::ServerInfo*) {
    return new Greeter;
}
