#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/function.h"

namespace Tovra::Memory {

class PacketInternal;

/// A handle to a byte buffer, shared by reference count, with a small area for extra data.
///
/// Copies of a handle share one buffer, which lives as long as the last of them. The buffer comes
/// from the packet manager, from the caller, or from another packet as a window on it. Nothing is
/// ever zeroed. A handle without a buffer is invalid: it takes all calls and answers 0, null or
/// false. Extra data are aligned to 4 bytes only. Every packet must be gone when the process ends.
/// Threads: handles to one buffer may be copied and dropped on several threads at a time. All else
/// is the caller's to guard, one handle and the bytes, size and place of one buffer alike.
/// Units: sizes are bytes.
class VESKO_API CPacket {
public:
    /// Makes an invalid packet.
    CPacket();

    /// Takes a buffer from the packet manager. The packet is invalid, with a line in the log, when
    /// there is no memory or the manager's policy forbids it.
    /// @param size    the size that the packet starts with; its capacity may be larger
    /// @param extSize size of the extra data, 255 at most
    CPacket(unsigned int size, unsigned int extSize);

    /// Wraps memory of the caller, without extra data.
    /// @param free called with `buffer` and the packet's last size by the thread that drops the
    ///             last handle; may be empty
    CPacket(void* buffer, unsigned int size, Vesko::TFunction2<void, void*, unsigned int> free);

    /// Makes a packet whose buffer `putBuffer` attaches later; until then it has none.
    /// @param size    the size that the packet starts with, and its capacity
    /// @param free    called with `userData` and `size` by the thread that drops the last handle,
    ///                but only if a buffer was attached; may be empty
    /// @param extSize size of the extra data, 255 at most
    CPacket(unsigned int size, Vesko::TFunction2<void, void*, unsigned int> free, void* userData,
            unsigned int extSize);

    /// Makes a window on the bytes of another packet, which it keeps alive. Later changes of the
    /// other's size do not reach the window. It is invalid, with a line in the log, when it does
    /// not lie in `packet`, or memory is short.
    /// @param offset  below the size of `packet`, even when `size` is 0
    /// @param size    the size of the window, and its capacity
    /// @param extSize size of the window's own extra data, 255 at most
    CPacket(const CPacket& packet, unsigned int offset, unsigned int size, unsigned int extSize);

    /// Shares the buffer of `packet`.
    CPacket(const CPacket& packet);

    /// Lets the own buffer go, and shares that of `packet`.
    CPacket& operator=(const CPacket& packet);

    virtual ~CPacket();

    /// @return true when the packet has a record; an attached one may still lack its buffer
    bool valid() const;

    /// Lets the buffer go: the packet is then invalid.
    void reset();

    /// @return the first byte; null for a packet without a buffer
    unsigned char* getBuffer() const;

    /// @return the bytes in use
    unsigned int size() const;

    /// @return the bytes that fit
    unsigned int capacity() const;

    /// Sets the bytes in use. No memory moves.
    /// @return false, and nothing changes, when `size` is above the capacity
    bool resize(unsigned int size);

    /// Appends bytes behind those in use; a packet that was made with a size is filled from its
    /// start after `resize(0)`. An attached packet takes `data` itself as its buffer instead, and
    /// forgets the one that it had: its free function still runs only once.
    /// @param data as many bytes as told, outside the room that they are copied to
    /// @return bytes taken: fewer than `size` when the packet is full; 0 for a window that was
    ///         opened on an attached packet before it had a buffer
    unsigned int putBuffer(void* data, unsigned int size);

    /// @return the extra data; null when there is none
    void* getExtraData() const;

    /// @return the size of the extra data
    unsigned int getExtraSize() const;

private:
    PacketInternal* m_internal;
};

}  // namespace Tovra::Memory
