#include "vesko/memory/packetmanager.h"

#include "memory/packetmanagerinternal.h"
#include "vesko3/singleton.h"

namespace Tovra::Memory {

CPacketManager* CPacketManager::instance() {
    return Vesko::Detail::Singleton<CPacketManager>::instance(
        {"Tovra::Memory::CPacketManager::instance", Vesko::Detail::SingletonPlace::Route::filtered,
         __FILE__, __LINE__});
}

void CPacketManager::config(Policy policy, MemoryOperator* memop, PoolParameter* param) {
    PacketManagerInternal::config(policy, memop, param);
}

CPacketManager::CPacketManager() : m_internal(PacketManagerInternal::instance()) {}

CPacketManager::~CPacketManager() { m_internal = nullptr; }

void* CPacketManager::malloc(unsigned int size) {
    std::size_t blockSize = size;
    return m_internal->allocate(blockSize);
}

void CPacketManager::free(void* ptr) { m_internal->free(ptr); }

void* CPacketManager::memcpy(void* dst, const void* src, unsigned int size) {
    return m_internal->copy(dst, src, size);
}

unsigned int CPacketManager::getBufferSize() { return m_internal->bufferSize(); }

unsigned int CPacketManager::getFreeSize() { return m_internal->freeSize(); }

unsigned char* CPacketManager::getPoolBuffer() { return m_internal->poolBuffer(); }

void CPacketManager::dumpNodes() { m_internal->dumpNodes(); }

}  // namespace Tovra::Memory
