#include "vesko/memory/mempool.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "vesko/vesko3/locks.h"

namespace Tovra::Memory::Detail {

namespace {

/// Stands at the front of its own memory, and the blocks behind it.
struct alignas(std::max_align_t) Chunk {
    unsigned char* first;
    Chunk* next;
    std::uint32_t firstNumber;  // of its first block; blocks are counted from 1
};

bool liesBefore(const void* address, const Chunk* chunk) {
    return std::less<>{}(address, static_cast<const void*>(chunk->first));
}

// Makes room for one more, so that adding it cannot fail.
void makeRoom(std::vector<Chunk*>& chunks) {
    if (chunks.size() == chunks.capacity())
        chunks.reserve(std::max<std::size_t>(8, 2 * chunks.size()));
}

}  // namespace

/// Everything a CMemPool knows.
///
/// A free block holds the address of the next one. Where that does not fit it holds the number of
/// the next one, and the chunks can be found by number and by address.
struct MemPoolInternal {
    MemPoolInternal(std::uint32_t size, std::uint32_t count)
        : blockSize(std::max<std::uint32_t>(size, sizeof(std::uint32_t))), blockCount(count) {}
    ~MemPoolInternal();
    MemPoolInternal(const MemPoolInternal&) = delete;
    MemPoolInternal& operator=(const MemPoolInternal&) = delete;

    void addChunk() VESKO_REQUIRES(mutex);
    void link(void* block, void* next) VESKO_REQUIRES(mutex);
    void* linked(const void* block) VESKO_REQUIRES(mutex);

    Chunk* chunks VESKO_GUARDED_BY(mutex) = nullptr;
    const std::uint32_t blockSize;
    const std::uint32_t blockCount;
    void* freeList VESKO_GUARDED_BY(mutex) = nullptr;
    Vesko::CMutex mutex;

private:
    bool linksByNumber() const { return blockSize < sizeof(void*); }
    std::uint32_t numberOf(const void* block) VESKO_REQUIRES(mutex);
    void* numbered(std::uint32_t number) VESKO_REQUIRES(mutex);

    std::vector<Chunk*> byNumber VESKO_GUARDED_BY(mutex);
    std::vector<Chunk*> byAddress VESKO_GUARDED_BY(mutex);
};

MemPoolInternal::~MemPoolInternal() {
    while (chunks != nullptr) {
        Chunk* const next = chunks->next;
        delete[] reinterpret_cast<std::byte*>(chunks);
        chunks = next;
    }
}

void MemPoolInternal::addChunk() {
    const std::size_t bytes = std::size_t{blockSize} * blockCount;
    const std::uint64_t numbersUsed = std::uint64_t{byNumber.size()} * blockCount;
    if (linksByNumber()) {
        if (numbersUsed + blockCount > std::numeric_limits<std::uint32_t>::max()) {
            throw std::bad_alloc();
        }
        makeRoom(byNumber);
        makeRoom(byAddress);
    }
    std::unique_ptr<std::byte[]> memory(new std::byte[sizeof(Chunk) + bytes]);
    auto* const first = reinterpret_cast<unsigned char*>(memory.get() + sizeof(Chunk));
    auto* const chunk = new (memory.get()) Chunk{first, chunks, 0};
    if (linksByNumber()) {
        chunk->firstNumber = static_cast<std::uint32_t>(numbersUsed + 1);
        byNumber.push_back(chunk);
        byAddress.insert(std::upper_bound(byAddress.begin(), byAddress.end(), first, liesBefore),
                         chunk);
    }
    memory.release();
    chunks = chunk;
    unsigned char* const last = first + (bytes - blockSize);
    for (unsigned char* block = first; block < last; block += blockSize) {
        link(block, block + blockSize);
    }
    link(last, nullptr);
    freeList = first;
}

void MemPoolInternal::link(void* block, void* next) {
    if (!linksByNumber()) {
        std::memcpy(block, &next, sizeof(next));
        return;
    }
    const std::uint32_t number = numberOf(next);
    std::memcpy(block, &number, sizeof(number));
}

void* MemPoolInternal::linked(const void* block) {
    if (!linksByNumber()) {
        void* next = nullptr;
        std::memcpy(&next, block, sizeof(next));
        return next;
    }
    std::uint32_t number = 0;
    std::memcpy(&number, block, sizeof(number));
    return numbered(number);
}

// 0 for null.
std::uint32_t MemPoolInternal::numberOf(const void* block) {
    if (block == nullptr) return 0;
    const auto behind = std::upper_bound(byAddress.begin(), byAddress.end(), block, liesBefore);
    const Chunk* const chunk = *std::prev(behind);
    const auto offset = static_cast<const unsigned char*>(block) - chunk->first;
    return chunk->firstNumber + static_cast<std::uint32_t>(offset / blockSize);
}

void* MemPoolInternal::numbered(std::uint32_t number) {
    if (number == 0) return nullptr;
    const Chunk* const chunk = byNumber[(number - 1) / blockCount];
    return chunk->first + std::size_t{number - chunk->firstNumber} * blockSize;
}

CMemPool::CMemPool(unsigned int blockSize, unsigned int blockCount)
    : m_internal(new MemPoolInternal(blockSize, blockCount)) {}

CMemPool::~CMemPool() { delete m_internal; }

void* CMemPool::malloc() {
    const Vesko::CGuard guard(m_internal->mutex);
    if (m_internal->freeList == nullptr) m_internal->addChunk();
    void* const block = m_internal->freeList;
    m_internal->freeList = m_internal->linked(block);
    return block;
}

void CMemPool::free(void* block) {
    const Vesko::CGuard guard(m_internal->mutex);
    m_internal->link(block, m_internal->freeList);
    m_internal->freeList = block;
}

}  // namespace Tovra::Memory::Detail
