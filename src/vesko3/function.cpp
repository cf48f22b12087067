#include "vesko/vesko3/function.h"

#include "vesko3/load.h"

namespace Tovra::Vesko {

namespace {
// The layout is part of the interface: delegates travel by value between modules.
using Sample = TFunction1<void, int>;
static_assert(std::is_trivially_copyable_v<Sample> && std::is_standard_layout_v<Sample>);
static_assert(sizeof(Sample) == sizeof(void(Sample::*)()) + 3 * sizeof(void*));
}  // namespace

void Detail::setCurrentFunctionReuse(unsigned int number) {
    s_functionReuse.setValue(reinterpret_cast<void*>(static_cast<std::uintptr_t>(number)));
}

unsigned int getCurrentFunctionReuse() {
    void* value = nullptr;
    Detail::s_functionReuse.getValue(&value);
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(value));
}

}  // namespace Tovra::Vesko
