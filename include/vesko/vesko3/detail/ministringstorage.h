#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include "vesko/vesko3/detail/stringdata.h"

namespace Tovra::Vesko::Detail {

/// A storage policy of `flex_string` for records with many strings that are mostly absent.
///
/// One word: null, or a block from `malloc`. Owns its block and copies deep. Capacity grows, with
/// `realloc`, to exactly what is asked; a text that becomes empty gives its block back, so that an
/// empty storage has one only between `reserve` and the text. A block that cannot be had stops the
/// process.
/// Threads: as for an `int`.
/// Units: sizes and capacities are characters, without the terminator.
template <class E, class A = std::allocator<E>>
class MiniStringStorage {
public:
    using value_type = E;
    using iterator = E*;
    using const_iterator = const E*;
    using size_type = std::size_t;
    using allocator_type = A;
    using Data = StringData<E>;

    /// An empty storage: the null pointer.
    MiniStringStorage() noexcept = default;

    /// A copy of `n` characters in a block of just that capacity.
    MiniStringStorage(const E* s, size_type n) {
        if (n == 0) return;
        init(n, n);
        copyCharacters(begin(), s, n);
    }

    MiniStringStorage(const MiniStringStorage& rhs) : MiniStringStorage(rhs.begin(), rhs.size()) {}

    /// Takes the block; `rhs` is empty afterwards.
    MiniStringStorage(MiniStringStorage&& rhs) noexcept
        : pData_(std::exchange(rhs.pData_, nullptr)) {}

    ~MiniStringStorage() { std::free(pData_); }

    /// Copies the characters, into the present block where they fit.
    MiniStringStorage& operator=(const MiniStringStorage& rhs) {
        if (this == &rhs) return *this;
        const size_type newSize = rhs.size();
        if (newSize == 0 || newSize > capacity()) {
            MiniStringStorage(rhs).swap(*this);
        } else {
            copyCharacters(begin(), rhs.begin(), newSize);
            setSize(newSize);
        }
        return *this;
    }

    MiniStringStorage& operator=(MiniStringStorage&& rhs) noexcept {
        MiniStringStorage(std::move(rhs)).swap(*this);
        return *this;
    }

    iterator begin() noexcept { return pData_ ? pData_->buffer_ : nullptr; }
    const_iterator begin() const noexcept { return pData_ ? pData_->buffer_ : nullptr; }
    iterator end() noexcept { return pData_ ? pData_->pEnd_ : nullptr; }
    const_iterator end() const noexcept { return pData_ ? pData_->pEnd_ : nullptr; }

    size_type size() const noexcept {
        assert(begin() <= end());
        return static_cast<size_type>(end() - begin());
    }
    size_type capacity() const noexcept {
        return pData_ ? static_cast<size_type>(pData_->pEndOfMem_ - pData_->buffer_) : 0;
    }
    static size_type max_size() noexcept {
        const auto most = static_cast<size_type>(std::numeric_limits<std::ptrdiff_t>::max());
        return (most - sizeof(Data)) / sizeof(E);
    }

    /// Makes the capacity exactly `res_arg`, unless it is that large already.
    void reserve(size_type res_arg) {
        if (res_arg > capacity()) init(size(), res_arg);
        assert(capacity() >= res_arg);
    }

    /// Lengthens the text by `n` characters, which the caller writes.
    /// @return where they begin
    iterator expand(size_type n) {
        const size_type oldSize = size();
        if (n > max_size() - oldSize) throwLengthError();
        reserve(oldSize + n);
        if (n != 0) setSize(oldSize + n);
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

    /// Keeps the first `n` characters; with none left, the block goes too.
    void cut(size_type n) noexcept {
        assert(n <= size());
        if (n == 0 || !pData_) {  // without a block there is nothing to keep
            std::free(std::exchange(pData_, nullptr));
        } else {
            setSize(n);
        }
    }

    void swap(MiniStringStorage& rhs) noexcept { std::swap(pData_, rhs.pData_); }

    /// The text with its terminator, which is put there now.
    const E* c_str() const noexcept {
        static E emptyText[1] = {};
        if (!pData_) return emptyText;
        if (*pData_->pEnd_ != E()) *pData_->pEnd_ = E();
        return pData_->buffer_;
    }

    allocator_type get_allocator() const noexcept { return A(); }

private:
    static bool le(const E* lhs, const E* rhs) { return std::less_equal<const E*>()(lhs, rhs); }

    // Gives the present text, or the text to be written, a block of that capacity.
    void init(size_type size, size_type capacity) {
        assert(size <= capacity);
        if (capacity > max_size()) throwLengthError();
        void* block = std::realloc(pData_, sizeof(Data) + capacity * sizeof(E));
        assert(block != nullptr);
        if (block == nullptr) std::abort();  // where assertions are off
        pData_ = static_cast<Data*>(block);
        pData_->pEndOfMem_ = pData_->buffer_ + capacity;
        setSize(size);
    }

    // Moves the end, in a block. c_str looks at the character there before it writes one, so that
    // it must not be left unset.
    void setSize(size_type n) noexcept {
        pData_->pEnd_ = pData_->buffer_ + n;
        *pData_->pEnd_ = E();
    }

    Data* pData_ = nullptr;
};

}  // namespace Tovra::Vesko::Detail
