#pragma once

#include <list>

#include "vesko/component/client.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/timer.h"

namespace Tovra::Vesko::Detail {
template <class T>
class Singleton;
}

namespace Tovra::Component {

/// Every live client, in the order of creation, and the check that ends the ones that nobody logs
/// in.
///
/// The list owns no reference as such. A client that was made on demand is born with one more, the
/// list's hold, which goes with its first success (`ClientFactory::markUsing`) or with the check. The
/// references that decide over a client's life change under the mutex: a search never meets a client
/// that is on its way out. Only the check ends with the process: clients can be released and found
/// after it.
/// Threads: any thread may call any operation.
class CClientInstanceList {
public:
    /// Starts the check with its first call.
    static CClientInstanceList* instance();
    CClientInstanceList(const CClientInstanceList&) = delete;
    CClientInstanceList& operator=(const CClientInstanceList&) = delete;

    /// Gives a reference back. The last one takes the client out, logs it out and destroys it.
    /// @return the references that are left
    static int releaseClientInstance(IClient* client);

    /// Ends the idle clients. The timer's callback; `param` is not used.
    void removeIdleClientInstance(unsigned long param);

    /// Broken clients count.
    /// @return the first client for this server, or of this user, with a reference for the caller
    static IClient* getClientInstance(const ClassID& clsid, const ServerInfo& info);
    static IClient* getClientInstance(const ClassID& clsid, int userId);

    /// @return the first client for this server that is not broken, or of this user; no reference
    ///         is added
    static IClient* findClientInstance(const ClassID& clsid, const ServerInfo& info);
    static IClient* findClientInstance(const ClassID& clsid, int userId);

    /// @return the first client for this server that is not broken, after an `addRef`
    static IClient* shareClientInstance(const ClassID& clsid, const ServerInfo& info);

    /// Has the client checked from now on, unless the process is ending. Null is ignored.
    static void addClientInstance(IClient* client);

private:
    friend class Vesko::Detail::Singleton<CClientInstanceList>;

    struct List {
        template <class Fits>
        IClient* first(Fits fits) VESKO_REQUIRES(mutex);

        Vesko::CRecursiveMutex mutex;
        std::list<IClient*> clients VESKO_GUARDED_BY(mutex);
    };

    CClientInstanceList();
    ~CClientInstanceList();

    static List& list();
    static List& checkedList();

    Vesko::CTimer m_checkTimer;
};

}  // namespace Tovra::Component
