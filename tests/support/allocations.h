#pragma once

#include <cstddef>

namespace Tovra::Testing {

/// @return how often this program has called `operator new` so far, on any thread. For programs
///         that link `allocations.cpp`.
std::size_t allocationCount();

/// @return how often `action` called `operator new`
template <class Action>
std::size_t allocationsOf(Action&& action) {
    const std::size_t before = allocationCount();
    action();
    return allocationCount() - before;
}

}  // namespace Tovra::Testing
