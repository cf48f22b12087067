#pragma once

#include "vesko/component/factory.h"
#include "vesko/component/serverinfo.h"
#include "vesko/component/unknown.h"
#include "vesko/export.h"

namespace Tovra::Component {

class IClient;

namespace Detail {

/// The operations of the framework on references, clients and factories.
///
/// Threads: any thread may call any operation.
class VESKO_API CComponentHelper {
public:
    /// Takes a reference.
    /// @return the references there are now; 0 for null
    static int addRef(IUnknown* object);

    /// Gives a reference back. A client that loses its last one leaves the list of clients, is
    /// logged out and destroyed, on this thread.
    /// @return the references that are left; 0 for null
    static int release(IUnknown* object);

    /// Passes a newly made object to its caller.
    /// @return `object`; null with last error 0x1003000D for null
    static IUnknown* makeComponentObject(IUnknown* object);

    /// Passes an object that may be shared to a further caller: the first one gets the reference
    /// that the object was born with, each later one a reference of its own.
    /// @return `object`; null with last error 0x1003000E for null
    static IUnknown* makeComponentInstance(IUnknown* object);

    /// Has `IClient::getCurrentUserID` name the user of this client on the calling thread.
    /// @return false for null
    static bool setAsCurrentUser(IClient* client);

    /// Finds the factory of a class, and a client that is logged in on the server that has it: one
    /// that exists already, logged in anew when its link has broken, or a new one. One request makes
    /// one attempt to log in.
    /// @param iid    name of the interface. "Client" asks for a client factory itself: no server is
    ///               looked at, and the result is a stand-in for the registered factory
    /// @param info   `ServerInfo::none`, that very object, for a class in this process
    /// @param client receives the client with a reference for the caller, to be released when
    ///               everything that the factory made is gone; null when none takes part, and with a
    ///               last error. It may be set when the class was unregistered: look at it, too
    /// @return null with the last error 0x10030000 (no such interface), 0x10030001 (no such class),
    ///         0x10030002 (no such class of clients), 0x10030003 (no client was made) or that of the
    ///         client's log-in; null without a last error when the class was unregistered (but for
    ///         "Client", where that is 0x10030001)
    static IFactoryUnknown* getComponentFactory(const char* iid, const ClassID& clsid,
                                                const ServerInfo& info, IClient*& client);

    /// Finds the factory of a class through the client of a user, whatever state it is in.
    /// @param userId -1 for a class in this process
    /// @param client as above
    /// @return null without a last error when no client has this user; otherwise as above
    static IFactoryUnknown* getComponentFactory(const char* iid, const ClassID& clsid, int userId,
                                                IClient*& client);
};

}  // namespace Detail

}  // namespace Tovra::Component
