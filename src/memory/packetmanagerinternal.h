#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "vesko/memory/packetmanager.h"
#include "vesko/vesko3/locks.h"

namespace Tovra::Memory {

/// Stands for one chunk of the pool, or for the head of one list of free blocks.
///
/// A list is circular through its head and ends at it.
struct BufferNode {
    std::int32_t realIdx;  // index of the chunk; unused in a head
    // Chunk: o + 1 for the first chunk of a free block of order o, -(o + 1) for that of a block in
    // use, 0 for every other chunk. This is the only record of the blocks in use. Head: o + 1.
    std::int32_t order;
    std::uint8_t* addr;  // the chunk's memory; null in a head
    BufferNode* pre;
    BufferNode* next;
};

/// All of the packet manager: the settings, and the allocator that the policy chose.
///
/// The pool is a buddy allocator. A block of order o is 2^o chunks, and the index of its first
/// chunk is a multiple of 2^o; the buddy that it merges with differs from it in bit o of that
/// index. Blocks bear no headers: the tables lie outside the pool.
/// Threads: any thread may call any operation. The lock is a leaf: nothing is called, and nothing
/// is printed, while it is held.
class PacketManagerInternal {
public:
    static PacketManagerInternal* instance();
    static void config(CPacketManager::Policy policy, CPacketManager::MemoryOperator* memop,
                       CPacketManager::PoolParameter* param);
    static CPacketManager::Policy policy() { return s_policy; }

    ~PacketManagerInternal();
    PacketManagerInternal(const PacketManagerInternal&) = delete;
    PacketManagerInternal& operator=(const PacketManagerInternal&) = delete;

    /// Takes a block.
    /// @param size in: what is wanted; out: what the block holds. Untouched on failure.
    /// @return null when there is no room
    [[nodiscard]] void* allocate(std::size_t& size) { return (this->*m_malloc)(size); }
    void free(void* ptr) { (this->*m_free)(ptr); }
    void* copy(void* dst, const void* src, std::size_t size) {
        return (this->*m_memcpy)(dst, src, size);
    }

    /// @return `size` rounded up to the unit of packet sizes. It is computed in `size_t`, so that
    ///         no sum of 32-bit sizes wraps.
    std::size_t roundUp(std::size_t size) const {
        return (size + m_alignment - 1) & ~(std::size_t{m_alignment} - 1);
    }

    std::uint32_t bufferSize() const;
    std::uint32_t freeSize() VESKO_EXCLUDES(m_mutex);
    std::uint8_t* poolBuffer() const { return m_pOriginBuffer; }
    void dumpNodes() VESKO_EXCLUDES(m_mutex);

private:
    friend class Vesko::Detail::Singleton<PacketManagerInternal>;
    friend class PacketManagerPeer;  // builds pools of many shapes in one test program

    PacketManagerInternal();

    void buildPool();
    void buildNodes() VESKO_REQUIRES(m_mutex);
    void layOutFreeBlocks() VESKO_REQUIRES(m_mutex);
    void logPool() const;

    void* Pool_Malloc(std::size_t& size) VESKO_EXCLUDES(m_mutex);
    void Pool_Free(void* ptr) VESKO_EXCLUDES(m_mutex);
    void* Pool_Memcpy(void* dst, const void* src, std::size_t size);
    void* System_Malloc(std::size_t& size);
    void System_Free(void* ptr);
    void* System_Memcpy(void* dst, const void* src, std::size_t size);

    BufferNode* take(int want) VESKO_EXCLUDES(m_mutex);
    BufferNode* split(int found, int want) VESKO_REQUIRES(m_mutex);
    void insert(BufferNode& node, int order) VESKO_REQUIRES(m_mutex);
    static void unlink(BufferNode& node);
    bool inPool(const void* address) const;
    struct DumpLine;
    void dumpFreeLists() VESKO_EXCLUDES(m_mutex);
    std::size_t copyFreeLists(std::span<DumpLine> lines) VESKO_EXCLUDES(m_mutex);

    // The settings: fixed once the object exists.
    static constinit CPacketManager::Policy s_policy;
    static constinit CPacketManager::PoolParameter s_parameter;
    static constinit std::atomic<bool> s_configurable;
    static constinit CPacketManager::MemoryOperator s_memoryOperator;

    // Fixed at construction; null and 0 without a pool.
    std::uint8_t* m_pOriginBuffer = nullptr;
    std::uint8_t* m_buffer = nullptr;                         // chunk 0
    BufferNode* m_nodes VESKO_GUARDED_BY(m_mutex) = nullptr;  // one for each chunk
    std::uint32_t m_chunkMask = 0;
    std::int32_t m_chunkShift = 0;
    BufferNode* m_lists VESKO_GUARDED_BY(m_mutex) = nullptr;  // one for each order
    std::int32_t m_blockCount = 0;
    std::int32_t m_orderCount = 0;

    Vesko::CMutex m_mutex;  // guards what the two tables hold

    // Fixed at construction.
    std::uint32_t m_alignment = 0;  // the unit of packet sizes, a power of two
    void* (PacketManagerInternal::*m_malloc)(std::size_t&) = nullptr;
    void (PacketManagerInternal::*m_free)(void*) = nullptr;
    void* (PacketManagerInternal::*m_memcpy)(void*, const void*, std::size_t) = nullptr;
};

}  // namespace Tovra::Memory
