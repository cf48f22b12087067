#include "vesko/memory/buffer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "vesko/vesko3/log.h"

namespace Tovra::Memory {

/// What stands in front of the data, in the same block.
struct BufferInternal {
    void* block;
    std::uint32_t size;
    std::uint32_t capacity;
    std::uint32_t increasedSize;

    unsigned char* data() { return reinterpret_cast<unsigned char*>(this + 1); }
};

namespace {

// Sizes are computed wider than they are kept, so that no sum wraps: what is too large is out of
// memory.
BufferInternal* newBlock(std::size_t capacity, const char* failure) {
    const bool fits = capacity <= std::numeric_limits<std::uint32_t>::max();
    void* const block = fits ? std::malloc(sizeof(BufferInternal) + capacity) : nullptr;
    if (block != nullptr) {
        return new (block) BufferInternal{block, 0, static_cast<std::uint32_t>(capacity), 0};
    }
    Vesko::logInfo("%s", failure);
    return nullptr;
}

bool make(BufferInternal*& record, std::size_t capacity, const char* failure) {
    record = newBlock(capacity, failure);
    return record != nullptr;
}

bool grow(BufferInternal*& record, std::size_t capacity, const char* failure) {
    BufferInternal* const larger = newBlock(capacity, failure);
    if (larger == nullptr) return false;
    larger->size = record->size;
    larger->increasedSize = record->increasedSize;
    std::memcpy(larger->data(), record->data(), record->size);
    std::free(record->block);
    record = larger;
    return true;
}

std::size_t inSteps(const BufferInternal& record, std::size_t size) {
    const std::size_t step = record.increasedSize;
    return step != 0 ? (size + step - 1) / step * step : size;
}

}  // namespace

CBuffer::CBuffer() : m_internal(nullptr) {}

CBuffer::~CBuffer() { reset(); }

unsigned int CBuffer::putBuffer(unsigned char* data, unsigned int size) {
    if (m_internal == nullptr) {
        if (!make(m_internal, size, " CBuffer putbuffer Malloc fail:\n")) return 0;
    } else if (m_internal->capacity - m_internal->size < size) {
        const std::size_t needed = inSteps(*m_internal, std::size_t{m_internal->size} + size);
        if (!grow(m_internal, needed, "CBuffer putbuffer ReMalloc fail:\n")) return 0;
    }
    if (size > 0) std::memcpy(m_internal->data() + m_internal->size, data, size);
    m_internal->size += size;
    return size;
}

unsigned char* CBuffer::getBuffer() const { return size() > 0 ? m_internal->data() : nullptr; }

unsigned int CBuffer::size() const { return m_internal != nullptr ? m_internal->size : 0; }

unsigned int CBuffer::capacity() const { return m_internal != nullptr ? m_internal->capacity : 0; }

void CBuffer::resize(unsigned int size) {
    std::size_t wanted = size;
    if (m_internal == nullptr) {
        if (!make(m_internal, wanted, " CBuffer resize Malloc fail:\n")) return;
    } else if (m_internal->capacity < size) {
        wanted = inSteps(*m_internal, size);
        if (!grow(m_internal, wanted, " CBuffer resize ReMalloc fail:\n")) return;
    }
    m_internal->size = static_cast<std::uint32_t>(wanted);
}

void CBuffer::reserve(unsigned int size) {
    if (m_internal == nullptr) {
        make(m_internal, size, " CBuffer resize Malloc fail:\n");
    } else if (m_internal->capacity < size) {
        grow(m_internal, size, " CBuffer reserve Malloc fail:\n");
    }
}

void CBuffer::reset() {
    if (m_internal != nullptr) std::free(m_internal->block);
    m_internal = nullptr;
}

void CBuffer::setIncreasedSize(unsigned int size) {
    if (m_internal == nullptr &&
        !make(m_internal, size, " CBuffer setIncreasedSize Malloc fail:\n")) {
        return;
    }
    m_internal->increasedSize = size;
}

}  // namespace Tovra::Memory
