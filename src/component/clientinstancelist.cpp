#include "component/clientinstancelist.h"

#include <algorithm>
#include <atomic>

#include "component/clientinternal.h"
#include "component/unknowninternal.h"
#include "vesko3/singleton.h"

namespace Tovra::Component {

using Vesko::CRecursiveGuard;

namespace {

constinit std::atomic<bool> s_isOver{false};  // there is no check any more

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
    s_isOver = true;
    m_checkTimer.stopAndWait();
}

// Lives to the very end: static objects of a program may hold clients.
CClientInstanceList::List& CClientInstanceList::list() {
    static List& s_list = *new List;
    return s_list;
}

// From the first use on clients are checked, unless the process has ended the check.
CClientInstanceList::List& CClientInstanceList::checkedList() {
    if (!s_isOver) instance();
    return list();
}

template <class Fits>
IClient* CClientInstanceList::List::first(Fits fits) {
    const auto place = std::ranges::find_if(clients, fits);
    return place != clients.end() ? *place : nullptr;
}

int CClientInstanceList::releaseClientInstance(IClient* client) {
    List& all = list();
    int count = 0;
    {
        CRecursiveGuard guard(all.mutex);
        count = decreaseRefCount(client);
        if (count == 0) {
            const auto place = std::ranges::find(all.clients, client);
            if (place != all.clients.end()) all.clients.erase(place);
        }
    }
    if (count == 0) end(client);
    return count;
}

void CClientInstanceList::removeIdleClientInstance(unsigned long) {
    List& all = list();
    std::list<IClient*> idle;
    {
        CRecursiveGuard guard(all.mutex);
        for (auto place = all.clients.begin(); place != all.clients.end();) {
            const auto client = place++;
            if (!clientIsIdle(*client) || getRefCount(*client) > 1) continue;
            if (ClientInternal::of(*client).isUsing != 0) continue;  // the reference is a user's
            idle.splice(idle.end(), all.clients, client);
        }
    }
    for (IClient* client : idle) {
        if (decreaseRefCount(client) == 0) end(client);
    }
}

IClient* CClientInstanceList::getClientInstance(const ClassID& clsid, const ServerInfo& info) {
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    IClient* client = all.first([&](IClient* one) { return clientIsSameAs(one, clsid, info); });
    if (client != nullptr) Detail::CComponentHelper::makeComponentInstance(client);
    return client;
}

IClient* CClientInstanceList::getClientInstance(const ClassID& clsid, int userId) {
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    IClient* client = all.first([&](IClient* one) { return clientIsSameAs(one, clsid, userId); });
    if (client != nullptr) Detail::CComponentHelper::makeComponentInstance(client);
    return client;
}

IClient* CClientInstanceList::findClientInstance(const ClassID& clsid, const ServerInfo& info) {
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    return all.first([&](IClient* one) { return fitsUnbroken(one, clsid, info); });
}

IClient* CClientInstanceList::findClientInstance(const ClassID& clsid, int userId) {
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    return all.first([&](IClient* one) { return clientIsSameAs(one, clsid, userId); });
}

IClient* CClientInstanceList::shareClientInstance(const ClassID& clsid, const ServerInfo& info) {
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    IClient* client = all.first([&](IClient* one) { return fitsUnbroken(one, clsid, info); });
    if (client != nullptr) client->addRef();
    return client;
}

void CClientInstanceList::addClientInstance(IClient* client) {
    if (client == nullptr) return;
    List& all = checkedList();
    CRecursiveGuard guard(all.mutex);
    all.clients.push_back(client);
}

}  // namespace Tovra::Component
