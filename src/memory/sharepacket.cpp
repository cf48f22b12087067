#include "vesko/memory/sharepacket.h"

namespace Tovra::Memory {

CSharePacketHelper* CSharePacketHelper::instance() {
    static constinit CSharePacketHelper s_helper;
    return &s_helper;
}

CSharePacketHelper& CSharePacketHelper::operator=(const CSharePacketHelper&) = default;

bool CSharePacketHelper::initSharePacket(BaseArg*) { return false; }

CPacket CSharePacketHelper::toDescribePacket(const CPacket& packet) { return packet; }

CPacket CSharePacketHelper::toOriginalPacket(const CPacket& packet) { return packet; }

}  // namespace Tovra::Memory
