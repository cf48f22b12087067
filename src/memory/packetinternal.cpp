#include "memory/packetinternal.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

#include "memory/packetmanagerinternal.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"

namespace Tovra::Memory {

using Vesko::logInfo;

namespace {

// What a block of this size lacks at its end for an aligned record there: the unit of packet sizes
// may be smaller than the record's alignment. It is spent between the extra data and the record.
constexpr std::size_t paddingFor(std::size_t blockSize) {
    constexpr std::size_t alignment = alignof(OldPacketInternal);
    return (alignment - blockSize % alignment) % alignment;
}
static_assert(alignof(OldPacketInternal) <= alignof(std::max_align_t));

struct RuntimeFree {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
};
using HeadBlock = std::unique_ptr<std::uint8_t, RuntimeFree>;

HeadBlock allocateHead(std::size_t size) {
    return HeadBlock(static_cast<std::uint8_t*>(std::malloc(size)));
}

void logNoHead(std::size_t headBytes) {
    VESKO_FILTERED_THREAD(error, "PacketInternal::create(): malloc failured! size(%zu)\n",
                          headBytes);
}

// Room for the extra data and the record behind it.
std::size_t headSize(const PacketManagerInternal& manager, unsigned int extSize) {
    return manager.roundUp(extSize + sizeof(OldPacketInternal));
}

bool liesIn(unsigned int parentSize, unsigned int offset, unsigned int size) {
    return offset < parentSize && size <= parentSize - offset;
}

}  // namespace

PacketInternal* PacketInternal::create(unsigned int size, unsigned int extSize) {
    return OldPacketInternal::create(size, extSize);
}

PacketInternal* PacketInternal::create(void* buffer, unsigned int size, const FreeFunction& free) {
    return OldPacketInternal::create(buffer, size, free);
}

PacketInternal* PacketInternal::create(unsigned int size, const FreeFunction& free, void* userData,
                                       unsigned int extSize) {
    return OldPacketInternal::create(size, free, userData, extSize);
}

PacketInternal* PacketInternal::create(const CPacket& packet, unsigned int offset,
                                       unsigned int size, unsigned int extSize) {
    return OldPacketInternal::create(packet, offset, size, extSize);
}

OldPacketInternal* OldPacketInternal::create(unsigned int size, unsigned int extSize) {
    PacketManagerInternal& manager = *PacketManagerInternal::instance();  // fixes the policy, too
    switch (PacketManagerInternal::policy()) {
        case CPacketManager::policySystem:
        case CPacketManager::policyPool:
            return createInBlock(manager, size, extSize);
        case CPacketManager::policyPoolData:
            return createBesideBlock(manager, size, extSize);
        default:
            VESKO_FILTERED(debug, "tracepoint:\n");
            return nullptr;
    }
}

// One block: data, extra data, record. What the pool's rounding gives away becomes capacity.
OldPacketInternal* OldPacketInternal::createInBlock(PacketManagerInternal& manager,
                                                    unsigned int size, unsigned int extSize) {
    const std::size_t head = headSize(manager, extSize);
    std::size_t total = manager.roundUp(size) + head;
    // Blocks of the pool end aligned whatever is asked for.
    const bool inPool = PacketManagerInternal::policy() == CPacketManager::policyPool;
    const std::size_t padding = inPool ? 0 : paddingFor(total);
    total += padding;
    auto* const block = static_cast<std::uint8_t*>(manager.allocate(total));
    if (block == nullptr) {
        logInfo("PacketInternal::create(): NO enough, need size(%zu) ext(%zu)\n", std::size_t{size},
                std::size_t{extSize});
        return nullptr;
    }
    const std::size_t capacity = total - padding - head;
    OldPacketInternal* const record = constructAtEnd(block + total);
    record->setMemory(block, size, capacity, block + capacity, extSize);
    return record;
}

// Two blocks: the data from the manager; extra data and record from the heap.
OldPacketInternal* OldPacketInternal::createBesideBlock(PacketManagerInternal& manager,
                                                        unsigned int size, unsigned int extSize) {
    std::size_t capacity = size;
    std::uint8_t* data = nullptr;
    if (size > 0) {
        data = static_cast<std::uint8_t*>(manager.allocate(capacity));
        if (data == nullptr) {
            logInfo("PacketInternal::create(): 2 NO enough, need size(%zu) ext(%zu)\n",
                    std::size_t{size}, std::size_t{extSize});
            return nullptr;
        }
    }
    const std::size_t headBytes = headSize(manager, extSize);
    const std::size_t headBlockSize = headBytes + paddingFor(headBytes);
    HeadBlock head = allocateHead(headBlockSize);
    if (!head) {
        manager.free(data);
        logNoHead(headBytes);
        return nullptr;
    }
    OldPacketInternal* const record = constructAtEnd(head.get() + headBlockSize);
    record->setMemory(data, size, capacity, head.release(), extSize);
    return record;
}

OldPacketInternal* OldPacketInternal::create(void* buffer, unsigned int size,
                                             const FreeFunction& free) {
    auto* const record = new OldPacketInternal;
    record->setMemory(static_cast<std::uint8_t*>(buffer), size, size, nullptr, 0);
    record->m_kind = kindUser;
    record->m_userFree = free;
    return record;
}

OldPacketInternal* OldPacketInternal::create(unsigned int size, const FreeFunction& free,
                                             void* userData, unsigned int extSize) {
    auto* const record = new OldPacketInternal;
    record->setMemory(nullptr, size, size, static_cast<std::uint8_t*>(std::malloc(extSize)),
                      extSize);
    record->m_attached = true;
    record->m_attachedFree = free;
    record->m_userData = userData;
    return record;
}

OldPacketInternal* OldPacketInternal::create(const CPacket& packet, unsigned int offset,
                                             unsigned int size, unsigned int extSize) {
    if (!liesIn(packet.size(), offset, size)) {
        VESKO_FILTERED_THREAD(warn,
                              "PacketInternal::create() offset or size is invalid!! "
                              "huge_size(%zu), offset(%zu), size(%zu)\n",
                              std::size_t{packet.size()}, std::size_t{offset}, std::size_t{size});
        return nullptr;
    }
    const std::size_t headBytes = headSize(*PacketManagerInternal::instance(), extSize);
    const std::size_t headBlockSize = headBytes + paddingFor(headBytes);
    HeadBlock head = allocateHead(headBlockSize);
    if (!head) {
        logNoHead(headBytes);
        return nullptr;
    }
    auto parent = std::make_unique<CPacket>(packet);

    // An attached packet that has no buffer yet gives a window without one.
    std::uint8_t* const origin = packet.getBuffer();
    std::uint8_t* const buffer = origin != nullptr ? origin + offset : nullptr;
    OldPacketInternal* const record = constructAtEnd(head.get() + headBlockSize);
    record->setMemory(buffer, size, size, head.release(), extSize);
    record->m_kind = kindSub;
    record->m_parent = parent.release();
    return record;
}

OldPacketInternal* OldPacketInternal::constructAtEnd(std::uint8_t* end) {
    return new (end - sizeof(OldPacketInternal)) OldPacketInternal;
}

void OldPacketInternal::setMemory(std::uint8_t* buffer, std::size_t size, std::size_t capacity,
                                  std::uint8_t* extra, unsigned int extSize) {
    m_buffer = buffer;
    m_size = static_cast<std::uint32_t>(size);
    m_capacity = static_cast<std::uint32_t>(capacity);
    m_extra = extra;
    m_extraSize = static_cast<std::uint8_t>(extSize);
}

OldPacketInternal::~OldPacketInternal() {
    if (m_attached) {
        std::free(m_extra);
        if (m_buffer != nullptr && !m_attachedFree.empty()) m_attachedFree(m_userData, m_capacity);
    }
    if (m_kind == kindSub) delete m_parent;
    if (m_kind == kindUser && !m_userFree.empty()) m_userFree(m_buffer, m_size);
}

// The record may lie in the memory that is freed here: it is ended first, and its pointers are read
// before that.
void OldPacketInternal::destroy() {
    if (m_attached || m_kind == kindUser) {
        delete this;
        return;
    }
    std::uint8_t* const buffer = m_buffer;
    std::uint8_t* const extra = m_extra;
    switch (m_kind) {
        case kindCreated:
            this->~OldPacketInternal();
            PacketManagerInternal::instance()->free(buffer);
            if (PacketManagerInternal::policy() == CPacketManager::policyPoolData) std::free(extra);
            break;
        case kindSub:
            this->~OldPacketInternal();
            std::free(extra);
            break;
        default:
            VESKO_ASSERT_MESSAGE(false, "PacketInternal::destroy(): unreachable!\n");
    }
}

void OldPacketInternal::addRef() { m_refCount.fetch_add(1, std::memory_order_relaxed); }

std::int32_t OldPacketInternal::release() {
    // The only owner is spared the atomic subtraction: nobody else can reach the record any more.
    // The acquire load pairs with the release in the subtractions of earlier owners.
    std::int32_t left = 0;
    if (m_refCount.load(std::memory_order_acquire) != 1) {
        left = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }
    if (left == 0) destroy();
    return left;
}

unsigned int OldPacketInternal::putBuffer(void* data, unsigned int size) {
    if (m_attached) {
        m_buffer = static_cast<std::uint8_t*>(data);
        m_size = size;
        return size;
    }
    // A window that was opened on an attached packet before it had a buffer.
    if (m_buffer == nullptr) return 0;
    const std::uint32_t taken = std::min(size, m_capacity - m_size);
    if (taken > 0) {
        PacketManagerInternal::instance()->copy(m_buffer + m_size, data, taken);
        m_size += taken;
    }
    return taken;
}

bool OldPacketInternal::resize(unsigned int size) {
    if (size > m_capacity) return false;
    m_size = size;
    return true;
}

}  // namespace Tovra::Memory
