#include "component/clientfactory.h"

#include <cstring>
#include <map>
#include <string>

#include "component/clientinstancelist.h"
#include "component/clientinternal.h"
#include "component/errors.h"
#include "vesko/component/helper.h"
#include "vesko/vesko3/error.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"

namespace Tovra::Component {

using Detail::CComponentHelper;
using Vesko::CGuard;
using Vesko::CRecursiveGuard;

namespace {

// Makes one step of looking for a client, making one, and putting it in the list. Lives to the very
// end, as the wrappers do.
Vesko::CRecursiveMutex& clientCreateMutex() {
    static Vesko::CRecursiveMutex& s_clientCreateMutex = *new Vesko::CRecursiveMutex;
    return s_clientCreateMutex;
}

struct WrapperTable {
    Vesko::CMutex mutex;
    std::map<IFactoryUnknown*, IClientFactoryWrap*> wrappers VESKO_GUARDED_BY(mutex);
};

WrapperTable& wrapperTable() {
    static WrapperTable& s_table = *new WrapperTable;
    return s_table;
}

}  // namespace

IClientFactoryWrap::IClientFactoryWrap(IFactoryUnknown* factory)
    : m_original(dynamic_cast<IClient::IFactory*>(factory)) {
    VESKO_ASSERT(m_original != NULL);  // NOLINT(modernize-use-nullptr): the text is printed
}

const char* IClientFactoryWrap::clsid() { return m_original->clsid(); }

IClient* IClientFactoryWrap::create(const ServerInfo& info) {
    return shareOrMake(info, Kind::explicitClient);
}

IClient* IClientFactoryWrap::createAndMake(const ServerInfo& info) {
    return shareOrMake(info, Kind::onDemand);
}

IClient* IClientFactoryWrap::shareOrMake(const ServerInfo& info, Kind kind) {
    CRecursiveGuard guard(clientCreateMutex());
    const bool local = isLocal();
    if (!local) {
        if (IClient* client = CClientInstanceList::shareClientInstance(ClassID(clsid()), info))
            return client;
    }
    IClient* client = m_original->create(info);
    if (client == nullptr) return nullptr;
    const bool isExplicit = kind == Kind::explicitClient;
    clientCreateInternal(client, ClassID(clsid()), info, isExplicit);
    if (isExplicit) {
        clientGetAndMarkUsing(client);
    } else {
        CComponentHelper::makeComponentObject(client);
        CComponentHelper::addRef(client);  // the list's hold
    }
    // Client code ran meanwhile, and may have come back here.
    const IClient* other =
        local ? nullptr : CClientInstanceList::findClientInstance(ClassID(clsid()), info);
    if (other != nullptr) {
        VESKO_FILTERED_OBJECT(
            error, "remote client instance %p has been in CClientInstanceList already.\n",
            static_cast<const void*>(other));
    }
    CClientInstanceList::addClientInstance(client);
    CComponentHelper::setAsCurrentUser(client);
    return client;
}

bool IClientFactoryWrap::isLocal() { return std::strcmp(clsid(), ClassID::local.name) == 0; }

namespace ClientFactory {

int releaseClientObject(IClient* client) {
    VESKO_ASSERT(client != NULL);  // NOLINT(modernize-use-nullptr): the text is printed
    return CClientInstanceList::releaseClientInstance(client);
}

IClient* getClientInstance(const ClassID& clsid, const ServerInfo& info) {
    return CClientInstanceList::getClientInstance(clsid, info);
}

IClient* getClientInstance(const ClassID& clsid, int userId) {
    return CClientInstanceList::getClientInstance(clsid, userId);
}

IClient* createClientInstance(const ClassID& clsid, const ServerInfo& info) {
    const std::string clientClass(clsid.name, std::strcspn(clsid.name, "."));
    IClient* none = nullptr;
    IFactoryUnknown* factory = CComponentHelper::getComponentFactory(
        IClient::IFactory::iid(), ClassID(clientClass.c_str()), ServerInfo::none, none);
    auto* wrapper = dynamic_cast<IClientFactoryWrap*>(factory);
    if (wrapper == nullptr) {
        Vesko::setLastError(clientNotFound);
        return nullptr;
    }
    IClient* client = wrapper->createAndMake(info);
    if (client == nullptr) Vesko::setLastError(clientNotExist);
    return client;
}

IFactoryUnknown* wrapFactory(IFactoryUnknown* factory) {
    WrapperTable& table = wrapperTable();
    CGuard guard(table.mutex);
    IClientFactoryWrap*& wrapper = table.wrappers[factory];
    if (wrapper == nullptr) wrapper = new IClientFactoryWrap(factory);
    return wrapper;
}

void markUsing(IClient* client) {
    if (client == nullptr || clientGetAndMarkUsing(client) != 0) return;
    CComponentHelper::release(client);
}

}  // namespace ClientFactory

}  // namespace Tovra::Component
