#include "vesko/component/helper.h"

#include "component/clientfactory.h"
#include "component/currentuser.h"
#include "component/errors.h"
#include "component/unknowninternal.h"
#include "vesko/vesko3/error.h"

namespace Tovra::Component::Detail {

int CComponentHelper::addRef(IUnknown* object) { return object != nullptr ? object->addRef() : 0; }

int CComponentHelper::release(IUnknown* object) {
    if (object == nullptr) return 0;
    if (auto* client = dynamic_cast<IClient*>(object)) {
        return ClientFactory::releaseClientObject(client);
    }
    return object->release();
}

IUnknown* CComponentHelper::makeComponentObject(IUnknown* object) {
    if (object == nullptr) {
        Vesko::setLastError(creatingFailed);
        return nullptr;
    }
    UnknownInternal& internal = UnknownInternal::of(object);
    if (internal.objectTable == nullptr) internal.instanced.store(1, std::memory_order_release);
    return object;
}

IUnknown* CComponentHelper::makeComponentInstance(IUnknown* object) {
    if (object == nullptr) {
        Vesko::setLastError(gettingFailed);
        return nullptr;
    }
    if (UnknownInternal::of(object).objectTable == nullptr) makeInstanceForTable(object);
    return object;
}

bool CComponentHelper::setAsCurrentUser(IClient* client) {
    if (client == nullptr) return false;
    int id = -1;
    client->getUserID(id);
    return setCurrentUser(id);
}

}  // namespace Tovra::Component::Detail
