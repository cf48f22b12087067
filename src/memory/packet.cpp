#include "vesko/memory/packet.h"

#include <utility>

#include "memory/packetinternal.h"

namespace Tovra::Memory {

CPacket::CPacket() : m_internal(nullptr) {}

CPacket::CPacket(unsigned int size, unsigned int extSize)
    : m_internal(PacketInternal::create(size, extSize)) {}

CPacket::CPacket(void* buffer, unsigned int size, Vesko::TFunction2<void, void*, unsigned int> free)
    : m_internal(PacketInternal::create(buffer, size, free)) {}

CPacket::CPacket(unsigned int size, Vesko::TFunction2<void, void*, unsigned int> free,
                 void* userData, unsigned int extSize)
    : m_internal(PacketInternal::create(size, free, userData, extSize)) {}

CPacket::CPacket(const CPacket& packet, unsigned int offset, unsigned int size,
                 unsigned int extSize)
    : m_internal(PacketInternal::create(packet, offset, size, extSize)) {}

CPacket::CPacket(const CPacket& packet) : m_internal(packet.m_internal) {
    if (m_internal != nullptr) m_internal->addRef();
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the records are compared
CPacket& CPacket::operator=(const CPacket& packet) {
    PacketInternal* const other = packet.m_internal;
    if (m_internal == other) return *this;
    // Taken before the own record goes: its end may run a function that ends `packet`.
    if (other != nullptr) other->addRef();
    PacketInternal* const own = std::exchange(m_internal, other);
    if (own != nullptr) own->release();
    return *this;
}

CPacket::~CPacket() { reset(); }

bool CPacket::valid() const { return m_internal != nullptr; }

void CPacket::reset() {
    PacketInternal* const own = std::exchange(m_internal, nullptr);
    if (own != nullptr) own->release();
}

unsigned char* CPacket::getBuffer() const { return valid() ? m_internal->getBuffer() : nullptr; }

unsigned int CPacket::size() const { return valid() ? m_internal->size() : 0; }

unsigned int CPacket::capacity() const { return valid() ? m_internal->capacity() : 0; }

bool CPacket::resize(unsigned int size) { return valid() && m_internal->resize(size); }

unsigned int CPacket::putBuffer(void* data, unsigned int size) {
    return valid() ? m_internal->putBuffer(data, size) : 0;
}

void* CPacket::getExtraData() const { return valid() ? m_internal->getExtraData() : nullptr; }

unsigned int CPacket::getExtraSize() const { return valid() ? m_internal->getExtraSize() : 0; }

}  // namespace Tovra::Memory
