#pragma once

#include <utility>

#include "vesko/component/helper.h"

namespace Tovra::Component {

class IClient;

/// Holds a reference on an object, and one on the client through which it was obtained.
///
/// Copies take references of their own; the end of the pointer gives them back, the object's first.
/// `client.h` must be included where a pointer is copied or ends.
/// Threads: as for a plain pointer; the counting itself is safe.
template <class T>
class TComPtr {
public:
    TComPtr() = default;

    /// Takes over references that the caller holds; adds none.
    /// @param client null for an object of this process
    TComPtr(T* object, IClient* client = nullptr, int = 0) : m_object(object), m_client(client) {}

    TComPtr(const TComPtr& other) : m_object(other.m_object), m_client(other.m_client) {
        take(m_object);
        take(m_client);
    }

    ~TComPtr() {
        give(m_object);
        give(m_client);
    }

    TComPtr& operator=(const TComPtr& other) {
        if (this == &other) return *this;
        TComPtr copy(other);
        swap(copy);
        return *this;
    }

    void swap(TComPtr& other) {
        if (this == &other) return;
        std::swap(m_object, other.m_object);
        std::swap(m_client, other.m_client);
    }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }

    bool isEmpty() const { return m_object == nullptr; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    // Templates, so that the classes need not be known before a pointer is used.
    template <class Object>
    static void take(Object* object) {
        Detail::CComponentHelper::addRef(object);
    }
    template <class Object>
    static void give(Object* object) {
        Detail::CComponentHelper::release(object);
    }

    T* m_object = nullptr;
    IClient* m_client = nullptr;
};

}  // namespace Tovra::Component
