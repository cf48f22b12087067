#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "digest.h"

namespace TreeSum {

/// A piece of work, and what came of it: a file to digest, or a failure that was met before that.
struct Item {
    std::string path;
    Algorithm algorithm = Algorithm::md5;
    std::string expected;         // of a manifest; empty when the file is summed
    std::uint64_t sizeBytes = 0;  // a guess, to share the work out evenly
    bool isSettled = false;       // there is nothing to digest
    std::string hex;              // the digest
    int error = 0;                // or why there is none
};

/// Items that are handed to a worker together, because small files are not worth a hand-over each.
struct Batch {
    bool isDone() const { return doneCount.load(std::memory_order_acquire) == items.size(); }

    std::vector<Item> items;
    std::atomic<std::size_t> doneCount{0};  // of the items, from the first on
};

}  // namespace TreeSum
