#include "platform/module.h"

#include <dlfcn.h>

namespace Tovra::Platform {

HMODULE LoadLibraryA(const char* fileName) { return ::dlopen(fileName, RTLD_NOW | RTLD_LOCAL); }

void* GetProcAddress(HMODULE module, const char* name) { return ::dlsym(module, name); }

}  // namespace Tovra::Platform
