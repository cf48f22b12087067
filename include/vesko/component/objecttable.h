#pragma once

#include <cstddef>

#include "vesko/component/unknown.h"
#include "vesko/export.h"

namespace Tovra::Component::Detail {

struct ObjectTableInternal;

/// Tells the object that it stands for from others. Each kind of shared object has its own.
class VESKO_API key_base {
public:
    key_base() = default;
    key_base(const key_base&) = default;
    key_base& operator=(const key_base&) = default;
    virtual ~key_base();

    virtual bool matches(IUnknown* object) const = 0;
};

/// A table in which shared objects of one kind are found again by a key.
///
/// It holds no reference: an object leaves it with its last user, and a later search has to make a
/// new one. Whoever owns the table keeps it longer than the objects in it.
/// Threads: `find`, `insert`, `erase`, `count` and `get` want the table locked by the caller, who
/// keeps it locked from a search that failed to the insertion that follows. The last release of an
/// object in the table locks it too: a thread that holds the lock releases none of them.
class VESKO_API CObjectTable {
public:
    CObjectTable();
    /// Ends the table. Objects that are left in it are not touched.
    ~CObjectTable();
    CObjectTable(const CObjectTable&) = delete;
    [[deprecated("two tables would own one record")]] CObjectTable& operator=(
        const CObjectTable& other);

    void lock();
    void unlock();

    /// @return the first object that the key matches, with a reference for the caller; null when
    ///         there is none
    IUnknown* find(const key_base& key) const;

    /// Puts a new object at the end. Its first reference stays with the caller.
    /// @pre `object` is not null, in no other table, and no instance of the registry
    void insert(IUnknown* object);

    /// Takes an object out, wherever it stands. Nothing happens when it is not there.
    void erase(IUnknown* object);

    std::size_t count() const;

    /// @return the object, with no reference added
    /// @pre `index` is below `count()`
    IUnknown* get(std::size_t index) const;

private:
    ObjectTableInternal* m_internal;
};

}  // namespace Tovra::Component::Detail
