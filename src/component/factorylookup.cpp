#include <cstring>

#include "component/clientfactory.h"
#include "component/clientinternal.h"
#include "component/errors.h"
#include "component/factorystore.h"
#include "vesko/component/helper.h"
#include "vesko/vesko3/error.h"
#include "vesko3/logmacros.h"

namespace Tovra::Component::Detail {

namespace {

using Vesko::CRecursiveGuard;

bool asksForClients(const char* iid) { return std::strcmp(iid, IClient::IFactory::iid()) == 0; }

enum class Obstacle { none, login, relogin, state };

// Sees to it that a client that was found is logged in. Another thread may change its state
// meanwhile: it is read once.
Obstacle makeUsable(IClient* client) {
    switch (clientState(client)) {
        case ClientInternal::created:
        case ClientInternal::broken:
            return clientLogin(client) ? Obstacle::none : Obstacle::login;
        case ClientInternal::loggedIn:
            if (!clientUpdateBroken(client)) return Obstacle::none;
            return clientLogin(client) ? Obstacle::none : Obstacle::relogin;
    }
    return Obstacle::state;
}

// Gives the client back that could not be used, and says why.
void giveUp(const char* iid, IClient* client, Obstacle obstacle) {
    if (obstacle == Obstacle::state) {
        VESKO_FILTERED_THREAD(error, "Vesko.getComponentFactory(): client state is unknown!\n");
    }
    CComponentHelper::release(client);
    if (obstacle == Obstacle::login) {
        VESKO_FILTERED_THREAD(debug, "iid=%s could not been got because log failed.\n", iid);
    } else if (obstacle == Obstacle::relogin) {
        VESKO_FILTERED_THREAD(debug, "iid=%s could not been got because re-log failed.\n", iid);
    }
}

IClient* newClient(const char* iid, const ClassID& clsid, const ServerInfo& info) {
    IClient* client = ClientFactory::createClientInstance(clsid, info);
    if (client == nullptr) {
        VESKO_FILTERED_THREAD(
            error, "iid (%s) could not been got because clientInstance could not be created.\n",
            iid);
        return nullptr;
    }
    if (clientLogin(client)) return client;
    CComponentHelper::release(client);
    VESKO_FILTERED_THREAD(debug, "iid=%s could not been generated because log failed.\n", iid);
    return nullptr;
}

// Gives a client with a reference that is logged in, or null.
IClient* usableClient(const char* iid, const ClassID& clsid, const ServerInfo& info) {
    IClient* client = ClientFactory::getClientInstance(clsid, info);
    if (client == nullptr) return newClient(iid, clsid, info);
    const Obstacle obstacle = makeUsable(client);
    if (obstacle == Obstacle::none) return client;
    giveUp(iid, client, obstacle);
    return nullptr;
}

IFactoryUnknown* fail(IClient* found, int error) {
    CComponentHelper::release(found);
    Vesko::setLastError(error);
    return nullptr;
}

// Hands out a factory of the store, and the reference on the client that was found with it.
IFactoryUnknown* factoryWith(const char* iid, const ClassID& clsid, IClient* found,
                             IClient*& client) {
    FactoryStore& store = factoryStore();
    CRecursiveGuard guard(store.s_factoryMutex);
    const auto classes = store.s_factoryMap.find(iid);
    if (classes == store.s_factoryMap.end()) return fail(found, interfaceNotFound);
    const auto place = classes->second.find(clsid.name);
    if (place == classes->second.end()) return fail(found, classNotFound);
    IFactoryUnknown* factory = place->second;
    if (found != nullptr) CComponentHelper::setAsCurrentUser(found);
    client = found;
    if (asksForClients(iid)) {
        if (factory == nullptr) return fail(nullptr, classNotFound);
        return ClientFactory::wrapFactory(factory);
    }
    ClientFactory::markUsing(found);
    return factory;
}

}  // namespace

IFactoryUnknown* CComponentHelper::getComponentFactory(const char* iid, const ClassID& clsid,
                                                       const ServerInfo& info, IClient*& client) {
    client = nullptr;
    IClient* found = nullptr;
    if (!asksForClients(iid) && &info != &ServerInfo::none) {
        found = usableClient(iid, clsid, info);
        if (found == nullptr) return nullptr;
    }
    return factoryWith(iid, clsid, found, client);
}

IFactoryUnknown* CComponentHelper::getComponentFactory(const char* iid, const ClassID& clsid,
                                                       int userId, IClient*& client) {
    client = nullptr;
    IClient* found = nullptr;
    if (!asksForClients(iid) && userId != -1) {
        found = ClientFactory::getClientInstance(clsid, userId);
        if (found == nullptr) return nullptr;
    }
    return factoryWith(iid, clsid, found, client);
}

}  // namespace Tovra::Component::Detail
