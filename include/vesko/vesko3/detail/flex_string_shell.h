#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <istream>
#include <iterator>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "vesko/vesko3/detail/allocatorstringstorage.h"
#include "vesko/vesko3/detail/stringdata.h"

namespace Tovra::Vesko::Detail {

template <class It>
using IfInputIterator =
    std::enable_if_t<std::is_convertible_v<typename std::iterator_traits<It>::iterator_category,
                                           std::input_iterator_tag>,
                     int>;

// Strings of any kind, but not plain pointers, which have overloads of their own.
template <class Text, class E, class T>
using IfText = std::enable_if_t<std::is_convertible_v<const Text&, std::basic_string_view<E, T>> &&
                                    !std::is_convertible_v<const Text&, const E*>,
                                int>;

template <class Text, class E, class T>
inline constexpr bool isViewedNothrow =
    std::is_nothrow_constructible_v<std::basic_string_view<E, T>, const Text&>;

/// A string with the operations of the standard `basic_string`, on a storage of choice.
///
/// A value: it owns its characters and copies them deep. Operations mean what they mean in the
/// standard; what differs is told here. Text may come from inside the string itself, everywhere.
/// Positions beyond the size throw `std::out_of_range`, sizes beyond `max_size()`
/// `std::length_error`, both with an empty message; a string that throws is as it was before.
/// Iterators are pointers. Those that do not point into the string are caught by assertions.
/// A cut, be it by one character, may let the storage give its block and any reservation back, and
/// a swap or a move takes a text along that lies inside the object: pointers into the text are
/// invalid afterwards.
/// Threads: as for an `int`, and `c_str()`, `data()` and `s[s.size()]` count as writing, for the
/// terminator is only put there when it is asked for.
/// Units: sizes, positions and capacities are characters, without the terminator.
/// @tparam E       a character type
/// @tparam T       its traits; characters are copied as plain memory whatever they say
/// @tparam A       a stateless allocator
/// @tparam Storage where the characters live
template <typename E, class T = std::char_traits<E>, class A = std::allocator<E>,
          class Storage = AllocatorStringStorage<E, A>>
class flex_string : private Storage {
    template <class P>
    using IfIterator = std::enable_if_t<std::is_same_v<P, E*> || std::is_same_v<P, const E*>, int>;

public:
    using traits_type = T;
    using value_type = E;
    using allocator_type = A;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = E&;
    using const_reference = const E&;
    using pointer = E*;
    using const_pointer = const E*;
    using iterator = E*;
    using const_iterator = const E*;
    using reverse_iterator = std::reverse_iterator<iterator>;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;
    using view_type = std::basic_string_view<E, T>;

    static constexpr size_type npos = static_cast<size_type>(-1);

    // Construction. Allocators are accepted for the standard's sake and not kept.

    /// An empty string; allocates nothing.
    flex_string() noexcept = default;
    explicit flex_string(const A&) noexcept {}
    flex_string(const flex_string&) = default;
    flex_string(const flex_string& str, const A&) : flex_string(str) {}
    /// Takes the text; `rhs` is empty afterwards.
    flex_string(flex_string&&) noexcept = default;
    flex_string(flex_string&& rhs, const A&) noexcept : flex_string(std::move(rhs)) {}
    flex_string(const flex_string& str, size_type pos, const A& = A())
        : flex_string(part(str, pos, npos)) {}
    flex_string(const flex_string& str, size_type pos, size_type n, const A& = A())
        : flex_string(part(str, pos, n)) {}
    /// @pre `s` is not null
    flex_string(const E* s, const A& = A()) : Storage(s, T::length(s)) {}
    flex_string(const E* s, size_type n, const A& = A()) : Storage(s, n) {}
    flex_string(std::nullptr_t) = delete;
    flex_string(size_type n, E c, const A& = A()) { Storage::resize(n, c); }
    template <class It, IfInputIterator<It> = 0>
    flex_string(It first, It last, const A& = A()) {
        append(first, last);
    }
    flex_string(std::initializer_list<E> list, const A& = A())
        : Storage(list.begin(), list.size()) {}
    /// A copy of any text that can be viewed, `std::basic_string` for one.
    template <class Text, IfText<Text, E, T> = 0>
    explicit flex_string(const Text& text, const A& = A())
        : Storage(view_type(text).data(), view_type(text).size()) {}
    template <class Text, IfText<Text, E, T> = 0>
    flex_string(const Text& text, size_type pos, size_type n, const A& = A())
        : flex_string(part(text, pos, n)) {}
    ~flex_string() = default;

    flex_string& operator=(const flex_string&) = default;
    /// Takes the text; `rhs` is empty afterwards, unless it is this string.
    flex_string& operator=(flex_string&&) noexcept = default;
    flex_string& operator=(const E* s) { return assign(s); }
    flex_string& operator=(std::nullptr_t) = delete;
    flex_string& operator=(E c) { return assign(1, c); }
    flex_string& operator=(std::initializer_list<E> list) { return assign(list); }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& operator=(const Text& text) {
        return assign(text);
    }

    allocator_type get_allocator() const noexcept { return A(); }

    // Iterators.

    iterator begin() noexcept { return Storage::begin(); }
    const_iterator begin() const noexcept { return Storage::begin(); }
    const_iterator cbegin() const noexcept { return begin(); }
    iterator end() noexcept { return Storage::end(); }
    const_iterator end() const noexcept { return Storage::end(); }
    const_iterator cend() const noexcept { return end(); }
    reverse_iterator rbegin() noexcept { return reverse_iterator(end()); }
    const_reverse_iterator rbegin() const noexcept { return const_reverse_iterator(end()); }
    const_reverse_iterator crbegin() const noexcept { return rbegin(); }
    reverse_iterator rend() noexcept { return reverse_iterator(begin()); }
    const_reverse_iterator rend() const noexcept { return const_reverse_iterator(begin()); }
    const_reverse_iterator crend() const noexcept { return rend(); }

    // Size and capacity.

    size_type size() const noexcept { return Storage::size(); }
    size_type length() const noexcept { return size(); }
    size_type max_size() const noexcept { return Storage::max_size(); }
    size_type capacity() const noexcept { return Storage::capacity(); }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }

    /// Cuts the string, or fills it up with `c`.
    void resize(size_type n, E c = E()) { Storage::resize(n, c); }

    /// Makes the capacity exactly `res_arg`, unless it is that large already. Never lowers it, but
    /// a cut may end the reservation.
    void reserve(size_type res_arg = 0) {
        if (res_arg > max_size()) throwLengthError();
        Storage::reserve(res_arg);
    }

    /// Lowers the capacity to the size, as far as the storage can.
    void shrink_to_fit() {
        if (capacity() > size()) flex_string(view()).swap(*this);
    }

    /// Leaves no characters. Ends a reservation, and pointers into the text, like any cut.
    void clear() noexcept { Storage::cut(0); }

    // Characters.

    /// @pre `pos` is at most the size, where the terminator stands
    const_reference operator[](size_type pos) const {
        return pos == size() ? c_str()[pos] : begin()[pos];
    }
    /// @pre `pos` is at most the size, where the terminator stands
    reference operator[](size_type pos) { return pos == size() ? data()[pos] : begin()[pos]; }
    const_reference at(size_type pos) const {
        if (pos >= size()) throwOutOfRange();
        return begin()[pos];
    }
    reference at(size_type pos) {
        if (pos >= size()) throwOutOfRange();
        return begin()[pos];
    }
    /// @pre the string is not empty
    reference front() { return *begin(); }
    const_reference front() const { return *begin(); }
    /// @pre the string is not empty
    reference back() { return end()[-1]; }
    const_reference back() const { return end()[-1]; }

    /// The text with its terminator, which is put there now.
    const E* c_str() const noexcept { return Storage::c_str(); }
    /// The same as `c_str()`.
    const E* data() const noexcept { return c_str(); }
    E* data() noexcept { return const_cast<E*>(c_str()); }
    /// The characters, without a terminator.
    operator view_type() const noexcept { return view(); }

    // Assignment.

    flex_string& assign(const flex_string& str) { return *this = str; }
    flex_string& assign(flex_string&& str) noexcept { return *this = std::move(str); }
    flex_string& assign(const flex_string& str, size_type pos, size_type n = npos) {
        return assign(part(str, pos, n));
    }
    flex_string& assign(const E* s) { return assign(s, T::length(s)); }
    flex_string& assign(const E* s, size_type n);
    flex_string& assign(size_type n, E c);
    flex_string& assign(std::initializer_list<E> list) { return assign(list.begin(), list.size()); }
    template <class It, IfInputIterator<It> = 0>
    flex_string& assign(It first, It last) {
        return replace(begin(), end(), first, last);
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& assign(const Text& text) {
        const view_type from(text);
        return assign(from.data(), from.size());
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& assign(const Text& text, size_type pos, size_type n = npos) {
        return assign(part(text, pos, n));
    }

    // Adding at the end.

    flex_string& append(const flex_string& str) { return append(str.begin(), str.size()); }
    flex_string& append(const flex_string& str, size_type pos, size_type n = npos) {
        return append(part(str, pos, n));
    }
    flex_string& append(const E* s) { return append(s, T::length(s)); }
    flex_string& append(const E* s, size_type n) {
        if (n > capacity() - size()) return appendGrowing(s, n);
        copyCharacters(Storage::expand(n), s, n);
        return *this;
    }
    flex_string& append(size_type n, E c) {
        std::fill_n(Storage::expand(n), n, c);
        return *this;
    }
    flex_string& append(std::initializer_list<E> list) { return append(list.begin(), list.size()); }
    template <class It, IfInputIterator<It> = 0>
    flex_string& append(It first, It last) {
        return replace(end(), end(), first, last);
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& append(const Text& text) {
        const view_type from(text);
        return append(from.data(), from.size());
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& append(const Text& text, size_type pos, size_type n = npos) {
        return append(part(text, pos, n));
    }

    flex_string& operator+=(const flex_string& str) { return append(str); }
    flex_string& operator+=(const E* s) { return append(s); }
    flex_string& operator+=(E c) {
        push_back(c);
        return *this;
    }
    flex_string& operator+=(std::initializer_list<E> list) { return append(list); }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& operator+=(const Text& text) {
        return append(text);
    }

    void push_back(E c) { *Storage::expand(1) = c; }
    /// Cuts off the last character, after which pointers to the others may be invalid too.
    /// @pre the string is not empty
    void pop_back() noexcept { Storage::cut(size() - 1); }

    // Insertion. The operations with an iterator return where the new text begins.

    flex_string& insert(size_type pos, const flex_string& str) { return insert(pos, str.view()); }
    flex_string& insert(size_type pos, const flex_string& str, size_type pos2, size_type n = npos) {
        return insert(pos, part(str, pos2, n));
    }
    flex_string& insert(size_type pos, const E* s) { return insert(pos, s, T::length(s)); }
    flex_string& insert(size_type pos, const E* s, size_type n) { return replace(pos, 0, s, n); }
    flex_string& insert(size_type pos, size_type n, E c) { return replace(pos, 0, n, c); }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& insert(size_type pos, const Text& text) {
        const view_type from(text);
        return insert(pos, from.data(), from.size());
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& insert(size_type pos, const Text& text, size_type pos2, size_type n = npos) {
        return insert(pos, part(text, pos2, n));
    }
    template <class P, IfIterator<P> = 0>
    iterator insert(P p, E c) {
        return insert(p, 1, c);
    }
    template <class P, IfIterator<P> = 0>
    iterator insert(P p, size_type n, E c) {
        const size_type pos = positionOf(p);
        insert(pos, n, c);
        return begin() + pos;
    }
    template <class P, class It, IfIterator<P> = 0, IfInputIterator<It> = 0>
    iterator insert(P p, It first, It last) {
        const size_type pos = positionOf(p);
        replace(p, p, first, last);
        return begin() + pos;
    }
    template <class P, IfIterator<P> = 0>
    iterator insert(P p, std::initializer_list<E> list) {
        return insert(p, list.begin(), list.end());
    }

    // Removal: a cut, after which pointers to what stays may be invalid too. The operations with an
    // iterator return where the text goes on.

    flex_string& erase(size_type pos = 0, size_type n = npos) {
        reshape(pos, countFrom(pos, n), 0);
        return *this;
    }
    template <class P, IfIterator<P> = 0>
    iterator erase(P p) {
        return erase(p, p + 1);
    }
    template <class P, IfIterator<P> = 0>
    iterator erase(P i1, const_iterator i2) {
        return reshape(i1, i2, 0);
    }

    // Replacement: of `n1` characters from `pos`, or of those from `i1` to `i2`.

    flex_string& replace(size_type pos, size_type n1, const flex_string& str) {
        return replace(pos, n1, str.view());
    }
    flex_string& replace(size_type pos, size_type n1, const flex_string& str, size_type pos2,
                         size_type n2 = npos) {
        return replace(pos, n1, part(str, pos2, n2));
    }
    flex_string& replace(size_type pos, size_type n1, const E* s) {
        return replace(pos, n1, s, T::length(s));
    }
    flex_string& replace(size_type pos, size_type n1, const E* s, size_type n2) {
        const size_type count = countFrom(pos, n1);
        return replace(begin() + pos, begin() + pos + count, s, n2);
    }
    flex_string& replace(size_type pos, size_type n1, size_type n2, E c) {
        std::fill_n(reshape(pos, countFrom(pos, n1), n2), n2, c);
        return *this;
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& replace(size_type pos, size_type n1, const Text& text) {
        const view_type from(text);
        return replace(pos, n1, from.data(), from.size());
    }
    template <class Text, IfText<Text, E, T> = 0>
    flex_string& replace(size_type pos, size_type n1, const Text& text, size_type pos2,
                         size_type n2 = npos) {
        return replace(pos, n1, part(text, pos2, n2));
    }
    template <class P, IfIterator<P> = 0>
    flex_string& replace(P i1, const_iterator i2, const flex_string& str) {
        return replace(i1, i2, str.begin(), str.size());
    }
    template <class P, IfIterator<P> = 0>
    flex_string& replace(P i1, const_iterator i2, const E* s) {
        return replace(i1, i2, s, T::length(s));
    }
    template <class P, IfIterator<P> = 0>
    flex_string& replace(P i1, const_iterator i2, const E* s, size_type n) {
        if (n > max_size()) throwLengthError();
        return replaceRange(i1, i2, s, s + n);
    }
    template <class P, IfIterator<P> = 0>
    flex_string& replace(P i1, const_iterator i2, size_type n, E c) {
        std::fill_n(reshape(i1, i2, n), n, c);
        return *this;
    }
    template <class P, class It, IfIterator<P> = 0, IfInputIterator<It> = 0>
    flex_string& replace(P i1, const_iterator i2, It first, It last) {
        if constexpr (std::is_same_v<It, E*> || std::is_same_v<It, const E*>) {
            return replaceRange(i1, i2, first, last);
        } else {
            const std::basic_string<E, T, A> range(first, last);
            return replaceRange(i1, i2, range.data(), range.data() + range.size());
        }
    }
    template <class P, IfIterator<P> = 0>
    flex_string& replace(P i1, const_iterator i2, std::initializer_list<E> list) {
        return replaceRange(i1, i2, list.begin(), list.end());
    }
    template <class P, class Text, IfIterator<P> = 0, IfText<Text, E, T> = 0>
    flex_string& replace(P i1, const_iterator i2, const Text& text) {
        const view_type from(text);
        return replace(i1, i2, from.data(), from.size());
    }

    // Whole strings.

    /// Copies up to `n` characters from `pos` to `to`, without a terminator.
    /// @return how many
    size_type copy(E* to, size_type n, size_type pos = 0) const {
        const view_type from = part(view(), pos, n);
        copyCharacters(to, from.data(), from.size());
        return from.size();
    }
    flex_string substr(size_type pos = 0, size_type n = npos) const {
        return flex_string(part(view(), pos, n));
    }
    void swap(flex_string& rhs) noexcept { Storage::swap(rhs); }

    // Search. Every operation returns the position found, or npos.

    size_type find(const flex_string& str, size_type pos = 0) const noexcept {
        return view().find(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type find(const Text& text, size_type pos = 0) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().find(view_type(text), pos);
    }
    size_type find(const E* s, size_type pos, size_type n) const { return view().find(s, pos, n); }
    size_type find(const E* s, size_type pos = 0) const { return view().find(s, pos); }
    size_type find(E c, size_type pos = 0) const noexcept { return view().find(c, pos); }

    size_type rfind(const flex_string& str, size_type pos = npos) const noexcept {
        return view().rfind(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type rfind(const Text& text, size_type pos = npos) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().rfind(view_type(text), pos);
    }
    size_type rfind(const E* s, size_type pos, size_type n) const {
        return view().rfind(s, pos, n);
    }
    size_type rfind(const E* s, size_type pos = npos) const { return view().rfind(s, pos); }
    size_type rfind(E c, size_type pos = npos) const noexcept { return view().rfind(c, pos); }

    size_type find_first_of(const flex_string& str, size_type pos = 0) const noexcept {
        return view().find_first_of(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type find_first_of(const Text& text, size_type pos = 0) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().find_first_of(view_type(text), pos);
    }
    size_type find_first_of(const E* s, size_type pos, size_type n) const {
        return view().find_first_of(s, pos, n);
    }
    size_type find_first_of(const E* s, size_type pos = 0) const {
        return view().find_first_of(s, pos);
    }
    size_type find_first_of(E c, size_type pos = 0) const noexcept {
        return view().find_first_of(c, pos);
    }

    size_type find_last_of(const flex_string& str, size_type pos = npos) const noexcept {
        return view().find_last_of(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type find_last_of(const Text& text, size_type pos = npos) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().find_last_of(view_type(text), pos);
    }
    size_type find_last_of(const E* s, size_type pos, size_type n) const {
        return view().find_last_of(s, pos, n);
    }
    size_type find_last_of(const E* s, size_type pos = npos) const {
        return view().find_last_of(s, pos);
    }
    size_type find_last_of(E c, size_type pos = npos) const noexcept {
        return view().find_last_of(c, pos);
    }

    size_type find_first_not_of(const flex_string& str, size_type pos = 0) const noexcept {
        return view().find_first_not_of(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type find_first_not_of(const Text& text, size_type pos = 0) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().find_first_not_of(view_type(text), pos);
    }
    size_type find_first_not_of(const E* s, size_type pos, size_type n) const {
        return view().find_first_not_of(s, pos, n);
    }
    size_type find_first_not_of(const E* s, size_type pos = 0) const {
        return view().find_first_not_of(s, pos);
    }
    size_type find_first_not_of(E c, size_type pos = 0) const noexcept {
        return view().find_first_not_of(c, pos);
    }

    size_type find_last_not_of(const flex_string& str, size_type pos = npos) const noexcept {
        return view().find_last_not_of(str.view(), pos);
    }
    template <class Text, IfText<Text, E, T> = 0>
    size_type find_last_not_of(const Text& text, size_type pos = npos) const
        noexcept(isViewedNothrow<Text, E, T>) {
        return view().find_last_not_of(view_type(text), pos);
    }
    size_type find_last_not_of(const E* s, size_type pos, size_type n) const {
        return view().find_last_not_of(s, pos, n);
    }
    size_type find_last_not_of(const E* s, size_type pos = npos) const {
        return view().find_last_not_of(s, pos);
    }
    size_type find_last_not_of(E c, size_type pos = npos) const noexcept {
        return view().find_last_not_of(c, pos);
    }

    bool starts_with(view_type text) const noexcept {
        return view().substr(0, text.size()) == text;
    }
    bool starts_with(E c) const noexcept { return !empty() && T::eq(front(), c); }
    bool starts_with(const E* s) const { return starts_with(view_type(s)); }
    bool ends_with(view_type text) const noexcept {
        return size() >= text.size() && view_type(end() - text.size(), text.size()) == text;
    }
    bool ends_with(E c) const noexcept { return !empty() && T::eq(back(), c); }
    bool ends_with(const E* s) const { return ends_with(view_type(s)); }
    bool contains(view_type text) const noexcept { return view().find(text) != npos; }
    bool contains(E c) const noexcept { return view().find(c) != npos; }
    bool contains(const E* s) const { return view().find(s) != npos; }

    // Comparison: negative, 0 or positive.

    int compare(const flex_string& str) const noexcept { return view().compare(str.view()); }
    template <class Text, IfText<Text, E, T> = 0>
    int compare(const Text& text) const noexcept(isViewedNothrow<Text, E, T>) {
        return view().compare(view_type(text));
    }
    int compare(const E* s) const { return view().compare(s); }
    int compare(size_type pos, size_type n1, const flex_string& str) const {
        return part(view(), pos, n1).compare(str);
    }
    int compare(size_type pos, size_type n1, const flex_string& str, size_type pos2,
                size_type n2 = npos) const {
        return part(view(), pos, n1).compare(part(str, pos2, n2));
    }
    int compare(size_type pos, size_type n1, const E* s) const {
        return part(view(), pos, n1).compare(s);
    }
    int compare(size_type pos, size_type n1, const E* s, size_type n2) const {
        return part(view(), pos, n1).compare(view_type(s, n2));
    }
    template <class Text, IfText<Text, E, T> = 0>
    int compare(size_type pos, size_type n1, const Text& text) const {
        return part(view(), pos, n1).compare(view_type(text));
    }
    template <class Text, IfText<Text, E, T> = 0>
    int compare(size_type pos, size_type n1, const Text& text, size_type pos2,
                size_type n2 = npos) const {
        return part(view(), pos, n1).compare(part(text, pos2, n2));
    }

private:
    view_type view() const noexcept { return view_type(begin(), size()); }

    static view_type part(view_type text, size_type pos, size_type n) {
        if (pos > text.size()) throwOutOfRange();
        return text.substr(pos, n);
    }

    size_type countFrom(size_type pos, size_type n) const {
        if (pos > size()) throwOutOfRange();
        return std::min(n, size() - pos);
    }

    size_type positionOf(const_iterator p) const {
        const auto pos = static_cast<size_type>(p - begin());
        assert(pos <= size());
        return pos;
    }

    // The terminator counts as part of the string: it may be copied like any character of it.
    bool IsAliasedRange(const E* first, const E* last) const {
        const std::less_equal<const E*> le;
        return first != last && le(begin(), first) && le(first, end());
    }

    flex_string& appendGrowing(const E* s, size_type n);
    flex_string& replaceRange(const_iterator i1, const_iterator i2, const E* s1, const E* s2);
    iterator reshape(size_type pos, size_type n1, size_type n2);
    iterator reshape(const_iterator i1, const_iterator i2, size_type n2);
};

template <typename E, class T, class A, class Storage>
flex_string<E, T, A, Storage>& flex_string<E, T, A, Storage>::assign(const E* s, size_type n) {
    if (n > capacity()) {
        flex_string(s, n).swap(*this);
        return *this;
    }
    if (n > size()) {
        Storage::expand(n - size());
        copyCharacters(begin(), s, n);
    } else {
        copyCharacters(begin(), s, n);
        Storage::cut(n);
    }
    return *this;
}

template <typename E, class T, class A, class Storage>
flex_string<E, T, A, Storage>& flex_string<E, T, A, Storage>::assign(size_type n, E c) {
    if (n > capacity()) {
        flex_string(n, c).swap(*this);
        return *this;
    }
    Storage::resize(n, c);
    std::fill_n(begin(), n, c);
    return *this;
}

// The characters do not fit: those of this string itself move along with it.
template <typename E, class T, class A, class Storage>
flex_string<E, T, A, Storage>& flex_string<E, T, A, Storage>::appendGrowing(const E* s,
                                                                            size_type n) {
    if (n > max_size() - size()) throwLengthError();
    if (IsAliasedRange(s, s + n)) {
        const size_type offset = positionOf(s);
        Storage::reserve(size() + n);
        s = c_str() + offset;
    }
    copyCharacters(Storage::expand(n), s, n);
    return *this;
}

template <typename E, class T, class A, class Storage>
flex_string<E, T, A, Storage>& flex_string<E, T, A, Storage>::replaceRange(const_iterator i1,
                                                                           const_iterator i2,
                                                                           const E* s1,
                                                                           const E* s2) {
    const difference_type n2 = s2 - s1;
    assert(n2 >= 0);
    const auto count = static_cast<size_type>(n2);
    if (IsAliasedRange(s1, s2)) {
        const flex_string text(s1, count);
        return replaceRange(i1, i2, text.begin(), text.end());
    }
    copyCharacters(reshape(i1, i2, count), s1, count);
    return *this;
}

template <typename E, class T, class A, class Storage>
typename flex_string<E, T, A, Storage>::iterator flex_string<E, T, A, Storage>::reshape(
    const_iterator i1, const_iterator i2, size_type n2) {
    assert(i1 <= i2);
    assert(begin() <= i1 && i1 <= end());
    assert(begin() <= i2 && i2 <= end());
    const difference_type n1 = i2 - i1;
    assert(n1 >= 0);
    return reshape(positionOf(i1), static_cast<size_type>(n1), n2);
}

// Makes n2 characters of the n1 at pos and moves the tail; the caller writes them. Room is made
// first, so that a string which throws is as it was.
template <typename E, class T, class A, class Storage>
typename flex_string<E, T, A, Storage>::iterator flex_string<E, T, A, Storage>::reshape(
    size_type pos, size_type n1, size_type n2) {
    assert(pos <= size());
    const size_type tail = size() - pos - n1;
    if (n2 > n1) Storage::expand(n2 - n1);
    copyCharacters(begin() + pos + n2, begin() + pos + n1, tail);
    if (n2 < n1) Storage::cut(pos + n2 + tail);
    return begin() + pos;
}

// Concatenation. A string that is given away is built on.

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> concatenate(std::basic_string_view<E, T> lhs,
                                    std::basic_string_view<E, T> rhs) {
    flex_string<E, T, A, S> result;
    if (rhs.size() > result.max_size() - lhs.size()) throwLengthError();
    result.reserve(lhs.size() + rhs.size());
    result.append(lhs).append(rhs);
    return result;
}

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs,
                                  const flex_string<E, T, A, S>& rhs) {
    return concatenate<E, T, A, S>(lhs, rhs);
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs, const E* rhs) {
    return concatenate<E, T, A, S>(lhs, rhs);
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs, E rhs) {
    return concatenate<E, T, A, S>(lhs, {&rhs, 1});
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const E* lhs, const flex_string<E, T, A, S>& rhs) {
    return concatenate<E, T, A, S>(lhs, rhs);
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(E lhs, const flex_string<E, T, A, S>& rhs) {
    return concatenate<E, T, A, S>({&lhs, 1}, rhs);
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(flex_string<E, T, A, S>&& lhs,
                                  const flex_string<E, T, A, S>& rhs) {
    return std::move(lhs.append(rhs));
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs,
                                  flex_string<E, T, A, S>&& rhs) {
    return std::move(rhs.insert(0, lhs));
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(flex_string<E, T, A, S>&& lhs, flex_string<E, T, A, S>&& rhs) {
    const bool onlyRightHasRoom =
        rhs.size() > lhs.capacity() - lhs.size() && lhs.size() <= rhs.capacity() - rhs.size();
    return std::move(onlyRightHasRoom ? rhs.insert(0, lhs) : lhs.append(rhs));
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(flex_string<E, T, A, S>&& lhs, const E* rhs) {
    return std::move(lhs.append(rhs));
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(flex_string<E, T, A, S>&& lhs, E rhs) {
    return std::move(lhs += rhs);
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const E* lhs, flex_string<E, T, A, S>&& rhs) {
    return std::move(rhs.insert(0, lhs));
}
template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(E lhs, flex_string<E, T, A, S>&& rhs) {
    return std::move(rhs.insert(0, 1, lhs));
}

// Relations, between two strings or a string and any text that can be viewed.

template <class Text, class E, class T>
using IfComparable =
    std::enable_if_t<std::is_convertible_v<const Text&, std::basic_string_view<E, T>>, int>;

template <typename E, class T, class A, class S>
bool operator==(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) == std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator==(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) == std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator==(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) == std::basic_string_view<E, T>(rhs);
}

template <typename E, class T, class A, class S>
bool operator!=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) != std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator!=(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) != std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator!=(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) != std::basic_string_view<E, T>(rhs);
}

template <typename E, class T, class A, class S>
bool operator<(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) < std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator<(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) < std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator<(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) < std::basic_string_view<E, T>(rhs);
}

template <typename E, class T, class A, class S>
bool operator>(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) > std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator>(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) > std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator>(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) > std::basic_string_view<E, T>(rhs);
}

template <typename E, class T, class A, class S>
bool operator<=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) <= std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator<=(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) <= std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator<=(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) <= std::basic_string_view<E, T>(rhs);
}

template <typename E, class T, class A, class S>
bool operator>=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) noexcept {
    return std::basic_string_view<E, T>(lhs) >= std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator>=(const flex_string<E, T, A, S>& lhs, const Text& rhs) {
    return std::basic_string_view<E, T>(lhs) >= std::basic_string_view<E, T>(rhs);
}
template <typename E, class T, class A, class S, class Text, IfComparable<Text, E, T> = 0>
bool operator>=(const Text& lhs, const flex_string<E, T, A, S>& rhs) {
    return std::basic_string_view<E, T>(lhs) >= std::basic_string_view<E, T>(rhs);
}

// Streams.

template <typename E, class T, class A, class S>
std::basic_ostream<E, T>& operator<<(std::basic_ostream<E, T>& os,
                                     const flex_string<E, T, A, S>& str) {
    return os << std::basic_string_view<E, T>(str);
}

// What is read comes in through a string that grows by a factor: ours, which grows exactly, would
// copy a long line once per character.
template <typename E, class T, class A, class S, class Read>
std::basic_istream<E, T>& readThrough(std::basic_istream<E, T>& is, flex_string<E, T, A, S>& str,
                                      Read read) {
    std::basic_string<E, T, A> text(str);
    try {
        read(is, text);
    } catch (...) {  // a stream that reports by exceptions has read all the same
        str = text;
        throw;
    }
    str = text;
    return is;
}

template <typename E, class T, class A, class S>
std::basic_istream<E, T>& operator>>(std::basic_istream<E, T>& is, flex_string<E, T, A, S>& str) {
    return readThrough(is, str, [](auto& from, auto& text) { from >> text; });
}
/// Reads up to `delimiter`, which is taken and dropped.
template <typename E, class T, class A, class S>
std::basic_istream<E, T>& getline(std::basic_istream<E, T>& is, flex_string<E, T, A, S>& str,
                                  E delimiter) {
    return readThrough(is, str,
                       [&](auto& from, auto& text) { std::getline(from, text, delimiter); });
}
template <typename E, class T, class A, class S>
std::basic_istream<E, T>& getline(std::basic_istream<E, T>& is, flex_string<E, T, A, S>& str) {
    return readThrough(is, str, [](auto& from, auto& text) { std::getline(from, text); });
}
template <typename E, class T, class A, class S>
std::basic_istream<E, T>& getline(std::basic_istream<E, T>&& is, flex_string<E, T, A, S>& str,
                                  E delimiter) {
    return getline(is, str, delimiter);
}
template <typename E, class T, class A, class S>
std::basic_istream<E, T>& getline(std::basic_istream<E, T>&& is, flex_string<E, T, A, S>& str) {
    return getline(is, str);
}

// Others.

template <typename E, class T, class A, class S>
void swap(flex_string<E, T, A, S>& lhs, flex_string<E, T, A, S>& rhs) noexcept {
    lhs.swap(rhs);
}

/// Removes the characters for which `predicate` holds.
/// @return how many
template <typename E, class T, class A, class S, class Predicate>
std::size_t erase_if(flex_string<E, T, A, S>& str, Predicate predicate) {
    const auto first = std::remove_if(str.begin(), str.end(), predicate);
    const auto count = static_cast<std::size_t>(str.end() - first);
    str.erase(first, str.end());
    return count;
}
/// Removes the characters that equal `c`.
/// @return how many
template <typename E, class T, class A, class S, class C>
std::size_t erase(flex_string<E, T, A, S>& str, const C& c) {
    return erase_if(str, [&c](const E& each) { return each == c; });
}

}  // namespace Tovra::Vesko::Detail

/// The hash of the same text in a `std::basic_string_view`.
template <typename E, class A, class S>
struct std::hash<Tovra::Vesko::Detail::flex_string<E, std::char_traits<E>, A, S>> {
    std::size_t operator()(
        const Tovra::Vesko::Detail::flex_string<E, std::char_traits<E>, A, S>& str) const noexcept {
        return std::hash<std::basic_string_view<E>>()(str);
    }
};
