#pragma once

#include <span>

/// Work that some processors have instructions of their own for. Each kind of work has a table of
/// kernels, the fastest first and the portable one last; all rows give the same results.
namespace Tovra::Utils {

template <class Function>
struct Kernel {
    const char* name;
    bool (*isSupported)();  // null: on every processor
    Function* run;

    bool isUsable() const { return isSupported == nullptr || isSupported(); }
};

/// @return the first usable row's function. It asks the processor: call it once and keep the result
template <class Function>
Function* fastest(std::span<const Kernel<Function>> kernels) {
    for (const Kernel<Function>& kernel : kernels) {
        if (kernel.isUsable()) return kernel.run;
    }
    return nullptr;
}

}  // namespace Tovra::Utils
