#pragma once

#include "vesko/export.h"
#include "vesko/memory/packet.h"
#include "vesko/vesko3/function.h"

/// The older packet, kept for programs that use it. New code takes `Tovra::Memory::CPacket`.
///
/// It is a handle to the same buffers in other words: the bytes in use are its length here, those that
/// fit its size, and the extra data its header, which has one size for all packets of the process. An
/// invalid packet takes all calls and answers 0 or null.
/// Threads: as `Tovra::Memory::CPacket`.
/// Units: sizes and lengths are bytes.
class VESKO_API CPacket {
public:
    /// Makes an invalid packet.
    CPacket();

    /// Takes a buffer from the packet manager, with a header of the size that is set at the moment.
    /// The packet is invalid, with a line in the log, when there is no memory or `size` is beyond 32
    /// bits.
    /// @param size the length that the packet starts with
    explicit CPacket(unsigned long size);

    /// Makes a packet whose buffer `PutBuffer` attaches later.
    /// @param free called with `userData` and `size` when the last handle goes, but only if a buffer
    ///             was attached; may be empty
    CPacket(unsigned int size, Tovra::Vesko::TFunction2<void, void*, unsigned int> free,
            void* userData);

    /// Shares the buffer of `packet`.
    CPacket(const CPacket& packet);
    CPacket(const Tovra::Memory::CPacket& packet);

    ~CPacket();

    /// Lets the own buffer go, and shares that of `packet`.
    CPacket& operator=(const CPacket& packet);

    /// @return a handle to the same buffer
    operator Tovra::Memory::CPacket();

    bool Valid();
    bool Valid() const;
    bool Invalid();
    bool Invalid() const;

    /// @return the first byte
    unsigned char* GetBuffer() const;

    /// @return the bytes that fit
    unsigned long GetSize() const;

    /// @return the bytes in use
    unsigned long GetLength() const;

    /// Sets the bytes in use.
    /// @return 1; 0, and nothing changes, when `length` is above the size
    unsigned long SetLength(unsigned long length);

    /// @return the bytes that still fit; without meaning when a buffer is attached that is longer
    ///         than the packet was declared
    unsigned long GetLeft() const;

    /// Appends bytes, or attaches a buffer, as `Tovra::Memory::CPacket::putBuffer` does.
    /// @return the bytes taken
    unsigned long PutBuffer(void* data, unsigned long size);

    /// @return the header
    unsigned char* GetHeader() const;

    unsigned long GetHeaderSize() const;

    /// Fills the header with zeros.
    void ClearHeader();

private:
    Tovra::Memory::CPacket* m_packet;
};

/// The older view of the packet manager. New code takes `Tovra::Memory::CPacketManager`.
///
/// Threads: any thread may call any operation; `config` comes before all packets.
/// Units: sizes are bytes.
class VESKO_API IPacketManager {
public:
    static IPacketManager* instance();

    /// Selects a pool with its records on the heap, and the size of the headers of packets made from
    /// now on. Once there is a manager the pool stays as it is, and the log says so; the size of the
    /// headers changes all the same. It is 128 at first, and 255 at most.
    /// @pre the sizes are as `Tovra::Memory::CPacketManager::PoolParameter` tells
    static void config(int totalSize, int chunkSize, int headerSize);

    IPacketManager();
    IPacketManager(const IPacketManager& other);
    IPacketManager& operator=(const IPacketManager& other);
    virtual ~IPacketManager();

    /// @return the size of the pool; 0 without a pool
    virtual unsigned int GetBufferSize() = 0;

    /// @return the free memory of the pool; 0 without a pool
    virtual unsigned int GetFreeSize() = 0;

    /// Prints the state in the log, at level 4.
    virtual void DumpNodes() = 0;
};
