#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "vesko/memory/packet.h"

namespace Tovra::Memory {

class PacketManagerInternal;

/// The record that all handles to one packet share. It is made with one reference.
///
/// The order of the virtual operations is fixed.
/// Threads: references may be taken and given back on any thread; all else is the caller's to
/// guard.
class PacketInternal {
public:
    using FreeFunction = Vesko::TFunction2<void, void*, unsigned int>;

    // One for each constructor of `CPacket`. Null on failure, with a line in the log.
    static PacketInternal* create(unsigned int size, unsigned int extSize);
    static PacketInternal* create(void* buffer, unsigned int size, const FreeFunction& free);
    static PacketInternal* create(unsigned int size, const FreeFunction& free, void* userData,
                                  unsigned int extSize);
    static PacketInternal* create(const CPacket& packet, unsigned int offset, unsigned int size,
                                  unsigned int extSize);

    /// Ends the record and frees its memory.
    virtual void destroy() = 0;
    virtual void addRef() = 0;
    /// Gives one reference back; the last one destroys the record.
    /// @return the references that are left
    virtual std::int32_t release() = 0;
    virtual unsigned int putBuffer(void* data, unsigned int size) = 0;
    virtual unsigned char* getBuffer() = 0;
    virtual unsigned int size() = 0;
    virtual bool resize(unsigned int size) = 0;
    virtual unsigned int capacity() = 0;
    virtual void* getExtraData() = 0;
    virtual unsigned int getExtraSize() = 0;

protected:
    ~PacketInternal() = default;  // records end through destroy()
};

/// The one kind of record, for every way of holding a packet's memory.
class OldPacketInternal final : public PacketInternal {
public:
    static OldPacketInternal* create(unsigned int size, unsigned int extSize);
    static OldPacketInternal* create(void* buffer, unsigned int size, const FreeFunction& free);
    static OldPacketInternal* create(unsigned int size, const FreeFunction& free, void* userData,
                                     unsigned int extSize);
    static OldPacketInternal* create(const CPacket& packet, unsigned int offset, unsigned int size,
                                     unsigned int extSize);

    OldPacketInternal(const OldPacketInternal&) = delete;
    OldPacketInternal& operator=(const OldPacketInternal&) = delete;

    void destroy() override;
    void addRef() override;
    std::int32_t release() override;
    unsigned int putBuffer(void* data, unsigned int size) override;
    unsigned char* getBuffer() override { return m_buffer; }
    unsigned int size() override { return m_size; }
    bool resize(unsigned int size) override;
    unsigned int capacity() override { return m_capacity; }
    void* getExtraData() override { return m_extraSize > 0 ? m_extra : nullptr; }
    unsigned int getExtraSize() override { return m_extraSize; }

private:
    enum Kind : std::uint8_t { kindCreated = 0, kindSub = 1, kindUser = 2 };

    OldPacketInternal() = default;
    ~OldPacketInternal();

    // Both give null, with a line in the log, when memory is short.
    static OldPacketInternal* createInBlock(PacketManagerInternal& manager, unsigned int size,
                                            unsigned int extSize);
    static OldPacketInternal* createBesideBlock(PacketManagerInternal& manager, unsigned int size,
                                                unsigned int extSize);

    // `end` is aligned as a record.
    static OldPacketInternal* constructAtEnd(std::uint8_t* end);
    void setMemory(std::uint8_t* buffer, std::size_t size, std::size_t capacity,
                   std::uint8_t* extra, unsigned int extSize);

    std::atomic<std::int32_t> m_refCount{1};
    std::uint8_t* m_buffer = nullptr;
    std::uint32_t m_size = 0;      // bytes in use
    std::uint32_t m_capacity = 0;  // bytes that fit
    std::uint8_t* m_extra = nullptr;
    std::uint8_t m_extraSize = 0;  // the low 8 bits of what was asked for
    Kind m_kind = kindCreated;
    CPacket* m_parent = nullptr;  // kindSub: keeps the memory of the window alive
    FreeFunction m_userFree;      // kindUser
    bool m_attached = false;      // the buffer comes through putBuffer
    FreeFunction m_attachedFree;  // attached
    void* m_userData = nullptr;   // attached
};

}  // namespace Tovra::Memory
