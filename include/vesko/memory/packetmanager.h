#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/function.h"

namespace Tovra::Vesko::Detail {
template <class T>
class Singleton;
}

namespace Tovra::Memory {

class PacketManagerInternal;

/// The allocator behind every packet of the process.
///
/// By its policy, memory comes from the system heap, through three functions that can be replaced,
/// or from one pool of a fixed size that is carved into blocks of a power of two of chunks. Taking
/// and giving back blocks of the pool touches no heap. It is made by its first use, or by a packet
/// that takes or copies memory, and its settings are fixed from then on. It ends with the process;
/// every packet must be gone by then.
/// Threads: any thread may call any operation; `config` comes before all of them.
/// Units: sizes are bytes.
class VESKO_API CPacketManager {
public:
    /// Where memory comes from.
    enum Policy : int {
        policySystem = 1,    ///< from the `MemoryOperator`; this is the default
        policyPool = 2,      ///< from the pool: the data of a packet with its record
        policyPoolData = 3,  ///< from the pool: the data alone; records are on the heap
        policyNoCreate = 4   ///< from the `MemoryOperator`; sized packets cannot be created
    };

    /// The shape of the pool. `totalSize` and `chunkSize` together stay below 2^32. The process ends
    /// when the memory of the pool cannot be had.
    struct PoolParameter {
        unsigned int totalSize = 0x200000;  ///< the whole pool, a multiple of `chunkSize`
        unsigned int chunkSize = 0x400;     ///< the smallest block: a power of two, 1024 or more
        /// Packet sizes are rounded up to the power of two in this: 4 or more.
        unsigned int alignSize = 4;
    };

    /// The three functions that stand under every policy. They may be called by several threads at
    /// a time. Under the pool `malloc` and `free` serve the pool as a whole, and `memcpy` serves
    /// copies within it. What `malloc` gives is aligned as the runtime library's memory is.
    struct MemoryOperator {
        Vesko::TFunction1<void*, unsigned int> malloc;
        Vesko::TFunction1<void, void*> free;
        Vesko::TFunction3<void*, void*, const void*, unsigned int> memcpy;
    };

    static CPacketManager* instance();

    /// Changes the settings. Once the manager exists it changes nothing and says so in the log.
    /// @param policy 0 keeps the present one
    /// @param memop  null keeps the present functions; the defaults are those of the runtime
    /// library
    /// @param param  null keeps the present shape
    /// @pre `memop` has no empty function; `param` keeps the ranges told at its fields
    static void config(Policy policy, MemoryOperator* memop, PoolParameter* param);

    /// Forgets the memory, and frees none of it.
    ~CPacketManager();
    CPacketManager(const CPacketManager&) = delete;
    CPacketManager& operator=(const CPacketManager&) = delete;

    /// Takes a block. The pool rounds it up to a power of two of chunks.
    /// @return null when there is no room; from a pool also when `size` is 0. The pool says so in
    ///         the log.
    [[nodiscard]] void* malloc(unsigned int size);

    /// Gives a block back.
    /// @param ptr null is ignored by the pool, and handed on to the `MemoryOperator` without one
    /// @pre `ptr` came from `malloc` and was not given back yet; this is not checked
    void free(void* ptr);

    /// Copies memory that does not overlap.
    /// @return `dst`
    void* memcpy(void* dst, const void* src, unsigned int size);

    /// @return the size of the pool; 0 without a pool
    unsigned int getBufferSize();

    /// @return the free memory of the pool, which may lie in several blocks; 0 without a pool
    unsigned int getFreeSize();

    /// @return the memory that the pool was built in, which may start before its first chunk; null
    ///         without a pool
    unsigned char* getPoolBuffer();

    /// Prints the state in the log, at level 4: the free blocks under `policyPool`, one fixed line
    /// under `policySystem` and `policyPoolData`, nothing under `policyNoCreate`.
    void dumpNodes();

private:
    friend class Vesko::Detail::Singleton<CPacketManager>;

    CPacketManager();

    PacketManagerInternal* m_internal;
};

}  // namespace Tovra::Memory
