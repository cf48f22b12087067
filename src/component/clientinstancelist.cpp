#include "component/clientinstancelist.h"

#include <algorithm>

#include "component/clientinternal.h"
#include "component/unknowninternal.h"
#include "vesko3/singleton.h"

namespace Tovra::Component {

using Vesko::CRecursiveGuard;

namespace {

void end(IClient* client) {
    client->logout();
    client->destroy();
}

bool fitsUnbroken(IClient* client, const ClassID& clsid, const ServerInfo& info) {
    return !clientIsBroken(client) && clientIsSameAs(client, clsid, info);
}

}  // namespace

CClientInstanceList* CClientInstanceList::instance() {
    return Vesko::Detail::Singleton<CClientInstanceList>::instance(
        {"Tovra::Component::CClientInstanceList::instance",
         Vesko::Detail::SingletonPlace::Route::filtered, __FILE__, __LINE__});
}

CClientInstanceList::CClientInstanceList() : m_checkTimer("ClientCheck") {
    constexpr unsigned int periodMilliSeconds = 60;
    constexpr unsigned int timeoutMilliSeconds = 60'000;
    m_checkTimer.start({&CClientInstanceList::removeIdleClientInstance, this}, 0,
                       periodMilliSeconds, 0, timeoutMilliSeconds);
}

CClientInstanceList::~CClientInstanceList() {
    m_checkTimer.stopAndWait();
    // Whoever is still listed lives on, and can still be found: a process that ends is no leak.
    static auto& s_survivors = *new std::list<IClient*>;
    s_survivors.splice(s_survivors.end(), m_clients);
}

template <class Fits>
IClient* CClientInstanceList::first(Fits fits) {
    const auto place = std::ranges::find_if(m_clients, fits);
    return place != m_clients.end() ? *place : nullptr;
}

int CClientInstanceList::releaseClientInstance(IClient* client) {
    int count = 0;
    {
        CRecursiveGuard guard(m_mutex);
        count = decreaseRefCount(client);
        if (count == 0) {
            const auto place = std::ranges::find(m_clients, client);
            if (place != m_clients.end()) m_clients.erase(place);
        }
    }
    if (count == 0) end(client);
    return count;
}

void CClientInstanceList::removeIdleClientInstance(unsigned long) {
    std::list<IClient*> idle;
    {
        CRecursiveGuard guard(m_mutex);
        for (auto place = m_clients.begin(); place != m_clients.end();) {
            const auto client = place++;
            if (!clientIsIdle(*client) || getRefCount(*client) > 1) continue;
            idle.splice(idle.end(), m_clients, client);
        }
    }
    for (IClient* client : idle) {
        if (decreaseRefCount(client) == 0) end(client);
    }
}

IClient* CClientInstanceList::getClientInstance(const ClassID& clsid, const ServerInfo& info) {
    CRecursiveGuard guard(m_mutex);
    IClient* client = first([&](IClient* one) { return clientIsSameAs(one, clsid, info); });
    if (client != nullptr) Detail::CComponentHelper::makeComponentInstance(client);
    return client;
}

IClient* CClientInstanceList::getClientInstance(const ClassID& clsid, int userId) {
    CRecursiveGuard guard(m_mutex);
    IClient* client = first([&](IClient* one) { return clientIsSameAs(one, clsid, userId); });
    if (client != nullptr) Detail::CComponentHelper::makeComponentInstance(client);
    return client;
}

IClient* CClientInstanceList::findClientInstance(const ClassID& clsid, const ServerInfo& info) {
    CRecursiveGuard guard(m_mutex);
    return first([&](IClient* one) { return fitsUnbroken(one, clsid, info); });
}

IClient* CClientInstanceList::findClientInstance(const ClassID& clsid, int userId) {
    CRecursiveGuard guard(m_mutex);
    return first([&](IClient* one) { return clientIsSameAs(one, clsid, userId); });
}

IClient* CClientInstanceList::shareClientInstance(const ClassID& clsid, const ServerInfo& info) {
    CRecursiveGuard guard(m_mutex);
    IClient* client = first([&](IClient* one) { return fitsUnbroken(one, clsid, info); });
    if (client != nullptr) client->addRef();
    return client;
}

void CClientInstanceList::addClientInstance(IClient* client) {
    if (client == nullptr) return;
    CRecursiveGuard guard(m_mutex);
    m_clients.push_back(client);
}

}  // namespace Tovra::Component
