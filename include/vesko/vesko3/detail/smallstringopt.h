#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "vesko/vesko3/detail/stringdata.h"

namespace Tovra::Vesko::Detail {

/// A storage policy of `flex_string` that keeps up to `threshold` characters inside the object.
///
/// The last character of `buf_` tells the mode. `magic` means big: a `Storage` stands at the start.
/// Anything else means small: it is the free room, so that it ends the text when the room is used
/// up. A text gets a `Storage` as soon as it needs one, and gives it back, with any reservation,
/// when it is cut to `threshold` characters or fewer.
/// Threads: as for an `int`.
/// Units: sizes and capacities are characters, without the terminator.
/// @tparam Align a type whose alignment the object keeps beside that of `Storage`
template <class Storage, unsigned int threshold, typename Align = typename Storage::value_type*>
class SmallStringOpt {
public:
    using value_type = typename Storage::value_type;
    using iterator = value_type*;
    using const_iterator = const value_type*;
    using size_type = std::size_t;
    using allocator_type = typename Storage::allocator_type;

    /// The longest text that stays inside.
    static constexpr int maxSmallString = static_cast<int>(threshold);
    /// The last character of a big object.
    static constexpr int magic = maxSmallString + 1;

    static_assert(threshold < static_cast<unsigned int>(std::numeric_limits<signed char>::max()),
                  "the last character holds the room");
    static_assert(sizeof(Storage) <= threshold * sizeof(value_type),
                  "the last character stands behind the storage");

    /// An empty, small text.
    SmallStringOpt() noexcept { becomeEmpty(); }

    /// A copy of `n` characters: small when they fit, else in a storage of just that capacity.
    SmallStringOpt(const value_type* s, size_type n) { build(s, n); }

    SmallStringOpt(const SmallStringOpt& rhs) {
        if (rhs.Small()) {
            copyBytes(rhs);
        } else {
            build(rhs.begin(), rhs.size());
        }
    }

    /// Takes the storage or copies the few characters; `rhs` is empty afterwards.
    SmallStringOpt(SmallStringOpt&& rhs) noexcept {
        if (rhs.Small()) {
            copyBytes(rhs);
            rhs.setSmallSize(0);
        } else {
            becomeBig(std::move(rhs.storage()));
            rhs.storage().~Storage();
            rhs.becomeEmpty();
        }
    }

    ~SmallStringOpt() {
        if (!Small()) storage().~Storage();
    }

    /// Copies the characters, into the present storage where it is still wanted.
    SmallStringOpt& operator=(const SmallStringOpt& rhs) {
        if (Small() && rhs.Small()) {
            copyBytes(rhs);
        } else if (!Small() && rhs.size() > threshold) {
            storage() = rhs.storage();
        } else {
            SmallStringOpt(rhs).swap(*this);
        }
        return *this;
    }

    SmallStringOpt& operator=(SmallStringOpt&& rhs) noexcept {
        SmallStringOpt(std::move(rhs)).swap(*this);
        return *this;
    }

    iterator begin() noexcept { return Small() ? buf_ : storage().begin(); }
    const_iterator begin() const noexcept { return Small() ? buf_ : storage().begin(); }
    iterator end() noexcept { return Small() ? buf_ + smallSize() : storage().end(); }
    const_iterator end() const noexcept { return Small() ? buf_ + smallSize() : storage().end(); }

    size_type size() const noexcept { return Small() ? smallSize() : storage().size(); }
    size_type capacity() const noexcept {
        return Small() ? size_type{threshold} : storage().capacity();
    }
    static size_type max_size() noexcept { return Storage::max_size(); }

    /// Makes room for `res_arg` characters: exactly that many, where the object must become big.
    void reserve(size_type res_arg) {
        if (!Small()) {
            storage().reserve(res_arg);
        } else if (res_arg > threshold) {
            moveToStorage(res_arg);
        }
        assert(capacity() >= res_arg);
    }

    /// Lengthens the text by `n` characters, which the caller writes.
    /// @return where they begin
    iterator expand(size_type n) {
        if (!Small()) return storage().expand(n);
        const size_type oldSize = smallSize();
        if (n > threshold - oldSize) return expandBeyond(n);
        setSmallSize(oldSize + n);
        return buf_ + oldSize;
    }

    /// Adds the range behind the text.
    /// @pre a range that does not fit the capacity lies outside this object
    void append(const value_type* b, const value_type* e) {
        const auto n = static_cast<size_type>(e - b);
        if (!Small()) {
            storage().append(b, e);
        } else {
            copyCharacters(expand(n), b, n);
        }
    }

    /// Cuts the text, or fills it up with `c`. A text of `threshold` or fewer is small afterwards.
    void resize(size_type n, value_type c) {
        if (!Small()) return resizeBig(n, c);
        const size_type oldSize = smallSize();
        if (n > oldSize) {
            std::fill_n(expand(n - oldSize), n - oldSize, c);
        } else {
            setSmallSize(n);
        }
    }

    /// Keeps the first `n` characters, as `resize` would.
    void cut(size_type n) noexcept {
        assert(n <= size());
        if (Small()) {
            setSmallSize(n);
        } else if (n > threshold) {
            storage().cut(n);
        } else {
            becomeSmall(n);
        }
    }

    void swap(SmallStringOpt& rhs) noexcept {
        if (Small() && rhs.Small()) {
            value_type kept[magic];
            std::memcpy(kept, buf_, sizeof(buf_));
            copyBytes(rhs);
            std::memcpy(rhs.buf_, kept, sizeof(buf_));
        } else if (Small()) {
            rhs.swap(*this);
        } else if (rhs.Small()) {
            Storage big(std::move(storage()));
            storage().~Storage();
            copyBytes(rhs);
            rhs.becomeBig(std::move(big));
        } else {
            storage().swap(rhs.storage());
        }
    }

    /// The text with its terminator, which is put there now.
    const value_type* c_str() const noexcept {
        if (!Small()) return storage().c_str();
        // One that is there is left alone, so that threads which only read do not write. Where the
        // room is used up, the last character is 0 and is the terminator.
        value_type& terminator = buf_[smallSize()];
        if (terminator != value_type()) terminator = value_type();
        return buf_;
    }

    allocator_type get_allocator() const noexcept { return allocator_type(); }

private:
    bool Small() const noexcept { return buf_[maxSmallString] != magic; }

    size_type smallSize() const noexcept {
        assert(!Small() || maxSmallString >= buf_[maxSmallString]);
        return static_cast<size_type>(maxSmallString - buf_[maxSmallString]);
    }
    void setSmallSize(size_type n) noexcept {
        buf_[maxSmallString] = static_cast<value_type>(threshold - n);
    }

    Storage& storage() noexcept {
        assert(buf_[maxSmallString] == magic);
        return storage_;
    }
    const Storage& storage() const noexcept {
        assert(buf_[maxSmallString] == magic);
        return storage_;
    }

    // All bytes at once is cheaper than asking for the length.
    void copyBytes(const SmallStringOpt& rhs) noexcept {
        std::memmove(buf_, rhs.buf_, sizeof(buf_));
    }

    // All bytes are set, so that c_str may look at any of them.
    void becomeEmpty() noexcept {
        std::memset(buf_, 0, sizeof(buf_));
        setSmallSize(0);
    }

    // Puts a text into an object that has none.
    void build(const value_type* s, size_type n) {
        if (n > threshold) return becomeBig(s, n);
        std::memset(buf_, 0, sizeof(buf_));
        copyCharacters(buf_, s, n);
        setSmallSize(n);
    }

    // Builds a storage in an object that has none.
    template <class... Args>
    void becomeBig(Args&&... args) noexcept(std::is_nothrow_constructible_v<Storage, Args...>) {
        ::new (static_cast<void*>(&storage_)) Storage(std::forward<Args>(args)...);
        buf_[maxSmallString] = static_cast<value_type>(magic);
    }

    // Gives the storage back and keeps the first n characters.
    void becomeSmall(size_type n) noexcept;
    void moveToStorage(size_type newCapacity);
    iterator expandBeyond(size_type n);
    void resizeBig(size_type n, value_type c);

    union {
        mutable value_type buf_[magic];
        Storage storage_;
        Align align_;
    };
};

template <class Storage, unsigned int threshold, typename Align>
void SmallStringOpt<Storage, threshold, Align>::becomeSmall(size_type n) noexcept {
    assert(capacity() > n);
    SmallStringOpt kept;
    copyCharacters(kept.buf_, begin(), n);
    kept.setSmallSize(n);
    kept.swap(*this);
}

template <class Storage, unsigned int threshold, typename Align>
void SmallStringOpt<Storage, threshold, Align>::moveToStorage(size_type newCapacity) {
    Storage big;
    big.reserve(newCapacity);
    big.append(buf_, buf_ + smallSize());
    becomeBig(std::move(big));
}

template <class Storage, unsigned int threshold, typename Align>
typename SmallStringOpt<Storage, threshold, Align>::iterator
SmallStringOpt<Storage, threshold, Align>::expandBeyond(size_type n) {
    if (n > max_size() - smallSize()) throwLengthError();
    moveToStorage(smallSize() + n);
    return storage().expand(n);
}

template <class Storage, unsigned int threshold, typename Align>
void SmallStringOpt<Storage, threshold, Align>::resizeBig(size_type n, value_type c) {
    if (n > threshold) return storage().resize(n, c);
    becomeSmall(std::min(n, size()));
    resize(n, c);
}

}  // namespace Tovra::Vesko::Detail
