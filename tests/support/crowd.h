#pragma once

#include <thread>
#include <vector>

namespace Tovra::Testing {

/// Runs `body(0)` to `body(count - 1)` side by side, each on a thread of its own, to their ends.
template <class Body>
void together(int count, const Body& body) {
    std::vector<std::thread> crowd;
    for (int i = 0; i < count; ++i) crowd.emplace_back([&body, i] { body(i); });
    for (std::thread& one : crowd) one.join();
}

}  // namespace Tovra::Testing
