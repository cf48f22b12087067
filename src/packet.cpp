#include "vesko/packet.h"

#include <atomic>
#include <cstring>
#include <limits>
#include <utility>

#include "vesko/memory/packetmanager.h"
#include "vesko3/singleton.h"

namespace Memory = Tovra::Memory;
namespace Vesko = Tovra::Vesko;

namespace {

constinit std::atomic<int> s_headerSize{128};

unsigned int headerSize() { return static_cast<unsigned int>(s_headerSize.load()); }

// What does not fit in 32 bits is more than any packet holds.
unsigned int narrowed(unsigned long size) {
    constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();
    return size < largest ? static_cast<unsigned int>(size) : largest;
}

// Keeps valid packets alone.
Memory::CPacket* newHandle(const Memory::CPacket& packet) {
    return packet.valid() ? new Memory::CPacket(packet) : nullptr;
}

}  // namespace

CPacket::CPacket() : m_packet(nullptr) {}

CPacket::CPacket(unsigned long size)
    : m_packet(newHandle(Memory::CPacket(narrowed(size), headerSize()))) {}

CPacket::CPacket(unsigned int size, Vesko::TFunction2<void, void*, unsigned int> free,
                 void* userData)
    : m_packet(newHandle(Memory::CPacket(size, free, userData, headerSize()))) {}

CPacket::CPacket(const CPacket& packet)
    : m_packet(packet.Valid() ? new Memory::CPacket(*packet.m_packet) : nullptr) {}

CPacket::CPacket(const Memory::CPacket& packet) : m_packet(newHandle(packet)) {}

CPacket::~CPacket() { delete m_packet; }

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the handle sees to that
CPacket& CPacket::operator=(const CPacket& packet) {
    if (packet.Invalid()) {
        delete std::exchange(m_packet, nullptr);
    } else if (Valid()) {
        *m_packet = *packet.m_packet;
    } else {
        m_packet = new Memory::CPacket(*packet.m_packet);
    }
    return *this;
}

CPacket::operator Memory::CPacket() { return Valid() ? *m_packet : Memory::CPacket(); }

bool CPacket::Valid() { return m_packet != nullptr; }

bool CPacket::Valid() const { return m_packet != nullptr; }

bool CPacket::Invalid() { return m_packet == nullptr; }

bool CPacket::Invalid() const { return m_packet == nullptr; }

unsigned char* CPacket::GetBuffer() const { return Valid() ? m_packet->getBuffer() : nullptr; }

unsigned long CPacket::GetSize() const { return Valid() ? m_packet->capacity() : 0; }

unsigned long CPacket::GetLength() const { return Valid() ? m_packet->size() : 0; }

unsigned long CPacket::SetLength(unsigned long length) {
    return length <= GetSize() && Valid() && m_packet->resize(narrowed(length)) ? 1 : 0;
}

unsigned long CPacket::GetLeft() const {
    return static_cast<unsigned int>(GetSize() - GetLength());
}

unsigned long CPacket::PutBuffer(void* data, unsigned long size) {
    return Valid() ? m_packet->putBuffer(data, narrowed(size)) : 0;
}

unsigned char* CPacket::GetHeader() const {
    return Valid() ? static_cast<unsigned char*>(m_packet->getExtraData()) : nullptr;
}

unsigned long CPacket::GetHeaderSize() const { return Valid() ? m_packet->getExtraSize() : 0; }

void CPacket::ClearHeader() {
    if (unsigned char* const header = GetHeader()) std::memset(header, 0, GetHeaderSize());
}

/// The packet manager of `Tovra::Memory` behind the older view.
class CPacketManager : public IPacketManager {
public:
    unsigned int GetBufferSize() override {
        return Memory::CPacketManager::instance()->getBufferSize();
    }
    unsigned int GetFreeSize() override {
        return Memory::CPacketManager::instance()->getFreeSize();
    }
    void DumpNodes() override { Memory::CPacketManager::instance()->dumpNodes(); }
};

IPacketManager* IPacketManager::instance() {
    return Vesko::Detail::Singleton<CPacketManager>::instance(
        {"CPacketManager::instance", Vesko::Detail::SingletonPlace::Route::direct, __FILE__,
         __LINE__});
}

void IPacketManager::config(int totalSize, int chunkSize, int headerSize) {
    s_headerSize = headerSize;
    Memory::CPacketManager::PoolParameter parameter;
    parameter.totalSize = static_cast<unsigned int>(totalSize);
    parameter.chunkSize = static_cast<unsigned int>(chunkSize);
    parameter.alignSize = 4;
    Memory::CPacketManager::config(Memory::CPacketManager::policyPoolData, nullptr, &parameter);
}

IPacketManager::IPacketManager() = default;

IPacketManager::IPacketManager(const IPacketManager&) = default;

IPacketManager& IPacketManager::operator=(const IPacketManager&) = default;

IPacketManager::~IPacketManager() = default;
