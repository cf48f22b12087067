#pragma once

#include "vesko/export.h"

namespace Tovra::Memory::Detail {

struct MemPoolInternal;

/// A pool of blocks of one size, taken from the heap in chunks of many.
///
/// The block that was given back last is handed out first. Chunks are freed with the pool, whether
/// their blocks were given back or not. Blocks are aligned as their size is: to what divides it, as
/// far as the heap aligns.
/// Threads: any thread may take and give back blocks.
/// Units: sizes are bytes.
class VESKO_API CMemPool {
public:
    /// Takes no memory for blocks yet.
    /// @param blockSize  less than 4 stands for 4
    /// @param blockCount blocks in a chunk
    /// @pre `blockCount` is 1 at least, and a chunk of so many blocks fits into memory's addresses
    CMemPool(unsigned int blockSize, unsigned int blockCount);
    ~CMemPool();
    CMemPool(const CMemPool&) = delete;
    CMemPool& operator=(const CMemPool&) = delete;

    /// Takes a block, and a chunk from the heap when there is none.
    /// @return the block; throws `std::bad_alloc` when the heap has no chunk
    [[nodiscard]] void* malloc();

    /// Gives a block back.
    /// @pre `block` came from `malloc` of this pool and was not given back yet; this is not checked
    void free(void* block);

private:
    MemPoolInternal* m_internal;
};

}  // namespace Tovra::Memory::Detail
