#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

// Also shows that nothing in the library pins it: no unique symbol, no handler that stays behind.
TEST(Library, IsGoneAfterItWasUnloaded) {
    void* library = ::dlopen(VESKO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    using SetErrMsg = void (*)(int, const char*);
    const auto setErrMsg =
        reinterpret_cast<SetErrMsg>(::dlsym(library, "_ZN5Tovra5Vesko9setErrMsgEiPKc"));
    ASSERT_NE(setErrMsg, nullptr) << ::dlerror();
    setErrMsg(1, "makes a singleton, with its exit handler");
    EXPECT_EQ(::dlclose(library), 0);
    EXPECT_EQ(::dlopen(VESKO_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace
