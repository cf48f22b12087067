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
/// It owns no reference as such. A client that was made on demand is born with one more, the list's
/// hold, which goes with its first success (`ClientFactory::markUsing`) or with the check. The
/// references that decide over a client's life change under the mutex: a search never meets a client
/// that is on its way out.
/// Threads: any thread may call any operation.
class CClientInstanceList {
public:
    static CClientInstanceList* instance();
    CClientInstanceList(const CClientInstanceList&) = delete;
    CClientInstanceList& operator=(const CClientInstanceList&) = delete;

    /// Gives a reference back. The last one takes the client out, logs it out and destroys it.
    /// @return the references that are left
    int releaseClientInstance(IClient* client) VESKO_EXCLUDES(m_mutex);

    /// Ends the idle clients. The timer's callback; `param` is not used.
    void removeIdleClientInstance(unsigned long param) VESKO_EXCLUDES(m_mutex);

    /// Broken clients count.
    /// @return the first client for this server, or of this user, with a reference for the caller
    IClient* getClientInstance(const ClassID& clsid, const ServerInfo& info)
        VESKO_EXCLUDES(m_mutex);
    IClient* getClientInstance(const ClassID& clsid, int userId) VESKO_EXCLUDES(m_mutex);

    /// @return the first client for this server that is not broken, or of this user; no reference
    ///         is added
    IClient* findClientInstance(const ClassID& clsid, const ServerInfo& info)
        VESKO_EXCLUDES(m_mutex);
    IClient* findClientInstance(const ClassID& clsid, int userId) VESKO_EXCLUDES(m_mutex);

    /// @return the first client for this server that is not broken, after an `addRef`
    IClient* shareClientInstance(const ClassID& clsid, const ServerInfo& info)
        VESKO_EXCLUDES(m_mutex);

    /// Null is ignored.
    void addClientInstance(IClient* client) VESKO_EXCLUDES(m_mutex);

private:
    friend class Vesko::Detail::Singleton<CClientInstanceList>;

    CClientInstanceList();
    ~CClientInstanceList();

    template <class Fits>
    IClient* first(Fits fits) VESKO_REQUIRES(m_mutex);

    Vesko::CRecursiveMutex m_mutex;
    std::list<IClient*> m_clients VESKO_GUARDED_BY(m_mutex);
    Vesko::CTimer m_checkTimer;
};

}  // namespace Tovra::Component
