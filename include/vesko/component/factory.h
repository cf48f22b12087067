#pragma once

#include <cstddef>

#include "vesko/export.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Component {

struct ClassIDListInternal;

/// Names one implementation of an interface.
///
/// The text up to the first '.' names the class of the client that reaches it; see `getClassId`. A
/// view: the text must outlive it.
struct VESKO_API ClassID {
    constexpr ClassID(const char* text) : name(text) {}

    const char* name;

    /// "Local", the class of implementations in the same process.
    static const ClassID local;
};

/// The base of all factories: what is registered under the name of an interface, and makes objects
/// of one class.
///
/// What it makes, and how, is told by the interface that derives from it. A factory is not counted:
/// it lives as long as its maker keeps it, and is unregistered before its end.
/// Threads: any thread may register and unregister.
class VESKO_API IFactoryUnknown {
public:
    IFactoryUnknown();
    IFactoryUnknown(const IFactoryUnknown& other);
    IFactoryUnknown& operator=(const IFactoryUnknown& other);
    virtual ~IFactoryUnknown();

    /// @return the class of what this factory makes
    virtual const char* clsid() = 0;

    /// Offers the factory to `CComponentHelper::getComponentFactory`, in the place of an earlier one
    /// of the same class.
    /// @param iid name of the interface; not null
    /// @return true
    bool registerFactory(const char* iid);

    /// Takes the offer back. The class stays listed, without a factory.
    /// @return true
    bool unregisterFactory(const char* iid);
};

/// The classes that were registered for an interface, as of its construction, in ascending byte
/// order of their names.
class VESKO_API ClassIDList {
public:
    explicit ClassIDList(const char* iid);
    ~ClassIDList();
    ClassIDList(const ClassIDList&) = delete;
    ClassIDList& operator=(const ClassIDList&) = delete;

    std::size_t count() const;

    /// @pre `index` is 0 to `count()` - 1
    Vesko::CString operator[](int index) const;

private:
    ClassIDListInternal* m_internal;
};

}  // namespace Tovra::Component
