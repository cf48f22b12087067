#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "vesko/vesko3/detail/stringdata.h"

namespace Tovra::Vesko::Detail {

/// A storage policy of `flex_string`: one pointer to a block from the allocator.
///
/// Owns its block and copies deep. Capacity grows to exactly what is asked, never by a factor, and
/// falls only with the block. Storages of capacity 0 share one static block, which nobody writes.
/// Threads: as for an `int`; the shared block is read-only and may be used from everywhere.
/// Units: sizes and capacities are characters, without the terminator.
template <class E, class A>
class AllocatorStringStorage {
    using Traits = std::allocator_traits<A>;
    static_assert(std::is_same_v<typename Traits::value_type, E>, "an allocator of characters");
    static_assert(std::is_same_v<typename Traits::pointer, E*>, "blocks hold plain pointers");
    static_assert(Traits::is_always_equal::value && std::is_default_constructible_v<A>,
                  "the storage is one pointer and keeps no allocator");

public:
    using value_type = E;
    using iterator = E*;
    using const_iterator = const E*;
    using size_type = std::size_t;
    using allocator_type = A;
    using Data = StringData<E>;

    /// An empty storage; allocates nothing.
    AllocatorStringStorage() noexcept : pData_(&emptyString_) {}

    /// A copy of `n` characters in a block of just that capacity.
    AllocatorStringStorage(const E* s, size_type n) : pData_(makeBlock(n, n)) {
        copyCharacters(pData_->buffer_, s, n);
    }

    AllocatorStringStorage(const AllocatorStringStorage& rhs)
        : AllocatorStringStorage(rhs.begin(), rhs.size()) {}

    /// Takes the block; `rhs` is empty afterwards.
    AllocatorStringStorage(AllocatorStringStorage&& rhs) noexcept
        : pData_(std::exchange(rhs.pData_, &emptyString_)) {}

    ~AllocatorStringStorage() { freeBlock(); }

    /// Copies the characters, into the present block where they fit.
    AllocatorStringStorage& operator=(const AllocatorStringStorage& rhs) {
        if (this == &rhs) return *this;
        if (rhs.size() > capacity()) {
            AllocatorStringStorage(rhs).swap(*this);
        } else {
            copyCharacters(begin(), rhs.begin(), rhs.size());
            setSize(rhs.size());
        }
        return *this;
    }

    AllocatorStringStorage& operator=(AllocatorStringStorage&& rhs) noexcept {
        AllocatorStringStorage(std::move(rhs)).swap(*this);
        return *this;
    }

    iterator begin() noexcept { return pData_->buffer_; }
    const_iterator begin() const noexcept { return pData_->buffer_; }
    iterator end() noexcept { return pData_->pEnd_; }
    const_iterator end() const noexcept { return pData_->pEnd_; }

    size_type size() const noexcept { return static_cast<size_type>(end() - begin()); }
    size_type capacity() const noexcept {
        return static_cast<size_type>(pData_->pEndOfMem_ - begin());
    }
    static size_type max_size() noexcept {
        const auto most = static_cast<size_type>(std::numeric_limits<std::ptrdiff_t>::max());
        return std::min(most / sizeof(E), Traits::max_size(A())) - headUnits;
    }

    /// Makes the capacity exactly `res_arg`, unless it is that large already.
    void reserve(size_type res_arg) {
        if (res_arg > capacity()) moveTo(res_arg);
        assert(capacity() >= res_arg);
    }

    /// Lengthens the text by `n` characters, which the caller writes.
    /// @return where they begin
    iterator expand(size_type n) {
        const size_type oldSize = size();
        if (n > capacity() - oldSize) {
            if (n > max_size() - oldSize) throwLengthError();
            moveTo(oldSize + n);
        }
        if (n != 0) moveEnd(oldSize + n);
        return begin() + oldSize;
    }

    /// Adds the range behind the text.
    /// @pre a range that does not fit the capacity lies outside this storage
    void append(const E* b, const E* e) {
        if (b == e) return;
        const auto n = static_cast<size_type>(e - b);
        if (n > capacity() - size()) assert(!(le(begin(), &*b) && le(&*b, end())));
        copyCharacters(expand(n), b, n);
    }

    /// Cuts the text, or fills it up with `c`.
    void resize(size_type n, E c) {
        const size_type oldSize = size();
        if (n > oldSize) {
            std::fill_n(expand(n - oldSize), n - oldSize, c);
        } else {
            cut(n);
        }
    }

    /// Keeps the first `n` characters.
    void cut(size_type n) noexcept {
        assert(n <= size());
        setSize(n);
    }

    void swap(AllocatorStringStorage& rhs) noexcept { std::swap(pData_, rhs.pData_); }

    /// The text with its terminator, which is put there now.
    const E* c_str() const noexcept {
        // The shared block has its terminator; one that is there is left alone, so that threads
        // which only read do not write.
        if (*pData_->pEnd_ != E() && capacity() != 0) *pData_->pEnd_ = E();
        return pData_->buffer_;
    }

    allocator_type get_allocator() const noexcept { return A(); }

private:
    // What a block needs beside its capacity, in units of the allocator.
    static constexpr size_type headUnits = (sizeof(Data) + sizeof(E) - 1) / sizeof(E);

    static bool le(const E* lhs, const E* rhs) { return std::less_equal<const E*>()(lhs, rhs); }

    static Data* makeBlock(size_type size, size_type cap);
    void moveTo(size_type newCapacity);

    // Emptiness is told by the capacity, not by the address of emptyString_: a program of several
    // modules may hold several of these. The compiler does not see that it has capacity 0.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wfree-nonheap-object"
    void freeBlock() noexcept {
        if (const size_type cap = capacity(); cap != 0) {
            A allocator;
            Traits::deallocate(allocator, reinterpret_cast<E*>(pData_), cap + headUnits);
        }
    }
#pragma GCC diagnostic pop

    // Nothing is ever written to the shared block, whose size stays 0.
    void setSize(size_type n) noexcept {
        if (capacity() != 0) moveEnd(n);
    }

    // c_str looks at the character there before it writes one, so that it must not be left unset.
    void moveEnd(size_type n) noexcept {
        pData_->pEnd_ = pData_->buffer_ + n;
        *pData_->pEnd_ = E();
    }

    static Data emptyString_;

    Data* pData_;
};

// Constant-initialised: strings work in the static constructors of any module.
template <class E, class A>
typename AllocatorStringStorage<E, A>::Data AllocatorStringStorage<E, A>::emptyString_ = {
    emptyString_.buffer_, emptyString_.buffer_, {}};

template <class E, class A>
typename AllocatorStringStorage<E, A>::Data* AllocatorStringStorage<E, A>::makeBlock(
    size_type size, size_type cap) {
    assert(size <= cap);
    if (cap == 0) return &emptyString_;
    if (cap > max_size()) throwLengthError();
    A allocator;
    Data* data = ::new (static_cast<void*>(Traits::allocate(allocator, cap + headUnits))) Data;
    data->pEnd_ = data->buffer_ + size;
    data->pEndOfMem_ = data->buffer_ + cap;
    *data->pEnd_ = E();
    return data;
}

template <class E, class A>
void AllocatorStringStorage<E, A>::moveTo(size_type newCapacity) {
    AllocatorStringStorage moved;
    moved.pData_ = makeBlock(size(), newCapacity);
    copyCharacters(moved.begin(), begin(), size());
    swap(moved);
}

}  // namespace Tovra::Vesko::Detail
