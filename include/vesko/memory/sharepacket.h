#pragma once

#include "vesko/export.h"
#include "vesko/memory/packet.h"

namespace Tovra::Memory {

struct BaseArg;

/// The place where packets may one day be shared between processes. For now it hands them on as they
/// are.
///
/// There is one object, which lives as long as the library.
/// Threads: any thread may call any operation, with a packet that it may use.
class VESKO_API CSharePacketHelper {
public:
    static CSharePacketHelper* instance();

    CSharePacketHelper& operator=(const CSharePacketHelper& other);

    /// Does nothing.
    /// @return false: packets are not shared
    bool initSharePacket(BaseArg* argument);

    /// @return a handle to the same buffer
    CPacket toDescribePacket(const CPacket& packet);

    /// @return a handle to the same buffer
    CPacket toOriginalPacket(const CPacket& packet);
};

}  // namespace Tovra::Memory
