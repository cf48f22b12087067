#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
constinit std::atomic<std::size_t> s_count{0};

void* allocateOrNull(std::size_t size) noexcept {
    s_count.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size != 0 ? size : 1);
}

void* allocate(std::size_t size) {
    if (void* memory = allocateOrNull(size)) return memory;
    throw std::bad_alloc();
}
}  // namespace

std::size_t Tovra::Testing::allocationCount() { return s_count.load(std::memory_order_relaxed); }

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
