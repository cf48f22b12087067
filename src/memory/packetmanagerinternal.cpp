#include "memory/packetmanagerinternal.h"

#include <bit>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "vesko3/assert.h"
#include "vesko3/logmacros.h"
#include "vesko3/singleton.h"

namespace Tovra::Memory {

using Vesko::CGuard;
using Vesko::logInfo;

namespace {

void* runtimeMalloc(unsigned int size) { return std::malloc(size); }
void runtimeFree(void* ptr) { std::free(ptr); }
void* runtimeMemcpy(void* dst, const void* src, unsigned int size) {
    return std::memcpy(dst, src, size);
}

// Rounds down; 0 gives 0.
constexpr int floorLog2(std::size_t value) {
    return value == 0 ? 0 : static_cast<int>(std::bit_width(value)) - 1;
}

constexpr std::int32_t chunksOf(int order) { return std::int32_t{1} << order; }

BufferNode* allocateNodes(int count) {
    void* const nodes = std::malloc(static_cast<std::size_t>(count) * sizeof(BufferNode));
    assert(nodes != nullptr || count == 0);
    return static_cast<BufferNode*>(nodes);
}

void makeEmpty(BufferNode& head, int order) { head = {0, order + 1, nullptr, &head, &head}; }

void linkBehind(BufferNode& place, BufferNode& node) {
    node.pre = &place;
    node.next = place.next;
    place.next->pre = &node;
    place.next = &node;
}

}  // namespace

constinit CPacketManager::Policy PacketManagerInternal::s_policy = CPacketManager::policySystem;
constinit CPacketManager::PoolParameter PacketManagerInternal::s_parameter{};
constinit std::atomic<bool> PacketManagerInternal::s_configurable{true};
constinit CPacketManager::MemoryOperator PacketManagerInternal::s_memoryOperator{
    runtimeMalloc, runtimeFree, runtimeMemcpy};

PacketManagerInternal* PacketManagerInternal::instance() {
    return Vesko::Detail::Singleton<PacketManagerInternal>::instance(
        {"Tovra::Memory::PacketManagerInternal::instance",
         Vesko::Detail::SingletonPlace::Route::filtered, __FILE__, __LINE__});
}

void PacketManagerInternal::config(CPacketManager::Policy policy,
                                   CPacketManager::MemoryOperator* memop,
                                   CPacketManager::PoolParameter* param) {
    if (!s_configurable.load(std::memory_order_relaxed)) {
        VESKO_FILTERED_THREAD(warn,
                              "PacketManagerInternal::config() failured: Packet Manager has been "
                              "configured!\n");
        return;
    }
    if (policy != 0) s_policy = policy;
    if (param != nullptr) {
        // NOLINTNEXTLINE(misc-redundant-expression): the text is printed
        VESKO_ASSERT(param->chunkSize >= 1024 && param->chunkSize > 0 &&
                     param->totalSize % param->chunkSize == 0);
        VESKO_ASSERT(param->alignSize >= 4);
        s_parameter = *param;
    }
    if (memop != nullptr) {
        VESKO_ASSERT(!memop->malloc.empty() && !memop->free.empty() && !memop->memcpy.empty());
        s_memoryOperator = *memop;
    }
}

PacketManagerInternal::PacketManagerInternal() {
    s_configurable.store(false, std::memory_order_relaxed);
    m_malloc = &PacketManagerInternal::System_Malloc;
    m_free = &PacketManagerInternal::System_Free;
    m_memcpy = &PacketManagerInternal::System_Memcpy;
    m_alignment = std::uint32_t{1} << floorLog2(s_parameter.alignSize);

    switch (s_policy) {
        case CPacketManager::policyPool:
        case CPacketManager::policyPoolData:
            m_malloc = &PacketManagerInternal::Pool_Malloc;
            m_free = &PacketManagerInternal::Pool_Free;
            m_memcpy = &PacketManagerInternal::Pool_Memcpy;
            buildPool();
            buildNodes();
            layOutFreeBlocks();
            logPool();
            break;
        case CPacketManager::policySystem:
            logInfo("CPacketManager: System Policy\n");
            break;
        default:
            break;
    }
}

PacketManagerInternal::~PacketManagerInternal() {
    if (m_pOriginBuffer != nullptr) s_memoryOperator.free(m_pOriginBuffer);
    std::free(m_lists);
    std::free(m_nodes);
}

void PacketManagerInternal::buildPool() {
    const std::uint32_t chunkSize = s_parameter.chunkSize;
    m_blockCount = static_cast<std::int32_t>(s_parameter.totalSize / chunkSize);
    // One chunk more than the pool, so that it can start on a multiple of the chunk size.
    std::size_t bytes = (static_cast<std::size_t>(m_blockCount) + 1) * chunkSize;
    m_pOriginBuffer = static_cast<std::uint8_t*>(System_Malloc(bytes));
    assert(NULL != m_pOriginBuffer);  // NOLINT(modernize-use-nullptr): the text is printed

    m_chunkMask = chunkSize - 1;
    m_chunkShift = floorLog2(chunkSize);
    m_orderCount = floorLog2(static_cast<std::uint32_t>(m_blockCount)) + 1;
    const auto origin = reinterpret_cast<std::uintptr_t>(m_pOriginBuffer);
    m_buffer = m_pOriginBuffer + ((chunkSize - (origin & m_chunkMask)) & m_chunkMask);
}

void PacketManagerInternal::buildNodes() {
    m_nodes = allocateNodes(m_blockCount);
    m_lists = allocateNodes(m_orderCount);
    for (std::int32_t i = 0; i < m_blockCount; ++i) {
        std::uint8_t* const addr = m_buffer + (static_cast<std::size_t>(i) << m_chunkShift);
        m_nodes[i] = {i, 0, addr, nullptr, nullptr};
    }
}

// The binary decomposition of the number of chunks, with the largest block at the lowest address.
void PacketManagerInternal::layOutFreeBlocks() {
    std::int32_t remaining = m_blockCount;
    std::int32_t index = 0;
    for (int order = m_orderCount - 1; order >= 0; --order) {
        makeEmpty(m_lists[order], order);
        // At most one block: the larger orders have left less than two of them.
        if (remaining < chunksOf(order)) continue;
        insert(m_nodes[index], order);
        index += chunksOf(order);
        remaining -= chunksOf(order);
    }
}

void PacketManagerInternal::logPool() const {
    const auto tableCount =
        static_cast<std::size_t>(m_blockCount) + static_cast<std::size_t>(m_orderCount);
    logInfo("CPacketManager: malloc total(%zu) pagesize(%zu)blockCount (%d) ManagermentSize(%zu)\n",
            std::size_t{s_parameter.totalSize}, std::size_t{s_parameter.chunkSize}, m_blockCount,
            tableCount * sizeof(BufferNode));
    logInfo("                AddrRange(%p-%p)\n", static_cast<void*>(m_buffer),
            static_cast<void*>(m_buffer + s_parameter.totalSize));
}

// A request for 0 bytes wraps around: it wants an order above all lists and finds nothing.
void* PacketManagerInternal::Pool_Malloc(std::size_t& size) {
    const int want = floorLog2((size - 1) >> (m_chunkShift - 1));
    const BufferNode* const block = take(want);
    if (block == nullptr) {
        logInfo("CPacket No Free Space\n");
        return nullptr;
    }
    size = std::size_t{1} << want << m_chunkShift;
    return block->addr;
}

BufferNode* PacketManagerInternal::take(int want) {
    CGuard guard(m_mutex);
    for (int order = want; order < m_orderCount; ++order) {
        if (m_lists[order].next != &m_lists[order]) return split(order, want);
    }
    return nullptr;
}

// Cuts the newest block of a list down. The low halves go back to the lists, and the highest part
// is the one that is taken.
BufferNode* PacketManagerInternal::split(int found, int want) {
    BufferNode& first = *m_lists[found].next;
    unlink(first);
    std::int32_t idx = first.realIdx;
    for (int order = found - 1; order >= want; --order) {
        insert(m_nodes[idx], order);
        idx += chunksOf(order);
    }
    m_nodes[idx].order = -(want + 1);
    return &m_nodes[idx];
}

void PacketManagerInternal::insert(BufferNode& node, int order) {
    node.order = order + 1;
    linkBehind(m_lists[order], node);
}

void PacketManagerInternal::unlink(BufferNode& node) {
    node.order = 0;
    node.pre->next = node.next;
    node.next->pre = node.pre;
}

// Merges the block with its buddy as long as that is a free block of the very same order. At the
// end of an uneven pool the buddy may lie beyond it.
void PacketManagerInternal::Pool_Free(void* ptr) {
    if (ptr == nullptr) return;
    std::ptrdiff_t id = (static_cast<std::uint8_t*>(ptr) - m_buffer) >> m_chunkShift;
    VESKO_ASSERT(id >= 0);

    CGuard guard(m_mutex);
    std::int32_t o1 = -m_nodes[id].order;
    m_nodes[id].order = 0;
    for (; o1 < m_orderCount; ++o1) {
        const std::ptrdiff_t bit = chunksOf(o1 - 1);
        const std::ptrdiff_t buddy = id ^ bit;
        if (buddy >= m_blockCount || m_nodes[buddy].order != o1) break;
        unlink(m_nodes[buddy]);
        id &= ~bit;
    }
    insert(m_nodes[id], o1 - 1);
}

// The replaced function is for copies within the pool alone.
void* PacketManagerInternal::Pool_Memcpy(void* dst, const void* src, std::size_t size) {
    if (!inPool(dst) || !inPool(src)) return std::memcpy(dst, src, size);
    return System_Memcpy(dst, src, size);
}

bool PacketManagerInternal::inPool(const void* address) const {
    const auto distance =
        reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(m_buffer);
    return distance < s_parameter.totalSize;
}

void* PacketManagerInternal::System_Malloc(std::size_t& size) {
    if (size > std::numeric_limits<unsigned int>::max()) return nullptr;
    return s_memoryOperator.malloc(static_cast<unsigned int>(size));
}

void PacketManagerInternal::System_Free(void* ptr) { s_memoryOperator.free(ptr); }

void* PacketManagerInternal::System_Memcpy(void* dst, const void* src, std::size_t size) {
    return s_memoryOperator.memcpy(dst, src, static_cast<unsigned int>(size));
}

std::uint32_t PacketManagerInternal::bufferSize() const {
    return m_pOriginBuffer != nullptr ? s_parameter.totalSize : 0;
}

std::uint32_t PacketManagerInternal::freeSize() {
    CGuard guard(m_mutex);
    std::uint32_t chunks = 0;
    for (int order = 0; order < m_orderCount; ++order) {
        const BufferNode* const head = &m_lists[order];
        for (const BufferNode* node = head->next; node != head; node = node->next) {
            chunks += static_cast<std::uint32_t>(chunksOf(order));
        }
    }
    return chunks << m_chunkShift;
}

void PacketManagerInternal::dumpNodes() {
    switch (s_policy) {
        case CPacketManager::policySystem:
        case CPacketManager::policyPoolData:
            logInfo("CPacketManager dump: SYS Policy\n");
            break;
        case CPacketManager::policyNoCreate:
            break;
        default:
            dumpFreeLists();
            break;
    }
}

/// A head or an element of a list, as it was when the picture was taken.
struct PacketManagerInternal::DumpLine {
    int list;
    int id;  // -1: the head of the list
    const BufferNode* place;
    BufferNode node;
};

// Takes one consistent picture, as much of it as `lines` can hold, and returns the size of it all.
std::size_t PacketManagerInternal::copyFreeLists(std::span<DumpLine> lines) {
    CGuard guard(m_mutex);
    std::size_t count = 0;
    for (int i = 0; i < m_orderCount; ++i) {
        const BufferNode* const head = &m_lists[i];
        const BufferNode* node = head;
        int id = -1;
        do {
            if (count < lines.size()) lines[count] = {i, id, node, *node};
            ++count;
            ++id;
            node = node->next;
        } while (node != head);
    }
    return count;
}

void PacketManagerInternal::dumpFreeLists() {
    // Grown with the lock free: the program's operator new may draw on this very pool.
    std::vector<DumpLine> lines;
    std::size_t count = copyFreeLists(lines);
    for (; count > lines.size(); count = copyFreeLists(lines)) lines.resize(count);
    lines.resize(count);

    logInfo("CPacketManager: dump FreeList\n");
    for (const auto& [list, id, place, node] : lines) {
        const void* const self = place;
        const void* const pre = node.pre;
        const void* const next = node.next;
        if (id < 0) {
            logInfo("BufferList id:%d, order(%d) head(%p), headpre(%p)next(%p)\n", list, node.order,
                    self, pre, next);
        } else {
            logInfo("bufflist(%d)id: %d, realIdx(%d)self(%p)order(%d) pre(%p), next(%p)\n", list,
                    id, node.realIdx, self, node.order, pre, next);
        }
    }
}

}  // namespace Tovra::Memory
