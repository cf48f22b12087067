#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>

namespace Tovra::Vesko::Detail {

/// A short name that one thread may set while others read it, without a lock. A reader may see the
/// old name, the new one, or a mix of both for that moment; never a text without an end.
class SharedName {
public:
    static constexpr std::size_t size = 32;

    /// @param name the first 31 characters are kept; null reads as "Nonamed"
    explicit SharedName(const char* name) { set(name); }

    void set(const char* name) {
        if (name == nullptr) name = "Nonamed";
        const std::size_t length = ::strnlen(name, size - 1);
        for (std::size_t i = 0; i < length; ++i) at(i).store(name[i], std::memory_order_relaxed);
        // The last byte is zero from the start, and is never written.
        if (length < size - 1) at(length).store('\0', std::memory_order_relaxed);
    }

    struct Copy {
        char text[size];
    };
    Copy copy() const {
        Copy copied;
        for (std::size_t i = 0; i < size; ++i) {
            copied.text[i] = at(i).load(std::memory_order_relaxed);
        }
        return copied;
    }

    /// @return the name where it stands; it lives as long as this object. Who reads it sees to it that
    ///         nobody sets it meanwhile.
    const char* text() const { return m_text; }

private:
    std::atomic_ref<char> at(std::size_t i) const { return std::atomic_ref<char>(m_text[i]); }

    mutable char m_text[size] = {};
};

}  // namespace Tovra::Vesko::Detail
