#include "vesko/component/registry.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <list>
#include <map>
#include <string>

#include "component/registryinternal.h"
#include "component/serverinfointernal.h"
#include "component/unknowninternal.h"
#include "platform/module.h"
#include "vesko/vesko3/locks.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"

namespace Tovra::Component {

namespace {

using Vesko::CGuard;
using Vesko::CMutex;

/// A live instance, and what it was asked for with.
struct ComponentInstance {
    ComponentInstance(IUnknown* instance, const ServerInfo* info) : object(instance) {
        if (info == nullptr) return;
        remote = true;
        address = textOf(info->address);
        port = info->port;
        userName = textOf(info->userName);
        password = textOf(info->password);
        flag1 = info->flag1;
    }

    bool isFor(const ServerInfo* info) const {
        if (info == nullptr) return !remote;
        return remote && address == textOf(info->address) && port == info->port &&
               userName == textOf(info->userName) && password == textOf(info->password) &&
               flag1 == info->flag1;
    }

    IUnknown* object;  // not counted
    bool remote = false;
    std::string address;
    std::int32_t port = 0;
    std::string userName;
    std::string password;
    std::uint32_t flag1 = 0;
};

struct ComponentInfo {
    ComponentCreator creator = nullptr;
    std::list<ComponentInstance> instances;  // in the order of creation
    Platform::HMODULE module = nullptr;      // never unloaded
};

struct Registry {
    CMutex s_componentMutex;
    // Entries stay for ever.
    std::map<std::string, ComponentInfo, std::less<>> s_componentMap
        VESKO_GUARDED_BY(s_componentMutex);
};

// Lives to the very end: static objects of a program may come here as they end.
Registry& registry() {
    static Registry& s_registry = *new Registry;
    return s_registry;
}

// Longer names are cut: the texts have this size on every platform.
struct ModuleText {
    ModuleText(const char* pattern, const std::string& name) {
        // The patterns are the two below.
        std::snprintf(text, sizeof text, pattern, name.c_str());
    }
    char text[32] = {};
};

struct Found {
    ComponentCreator creator;
    bool lacksEntry;  // a library was loaded that does not offer one
};

Found getDynamicCreator(const std::string& name, ComponentInfo& info) {
    if (info.module == nullptr) {
        info.module = Platform::LoadLibraryA(ModuleText("%s.so", name).text);
    }
    if (info.module == nullptr) return {nullptr, false};
    // The library may have registered its creator as it was loaded.
    if (info.creator != nullptr) return {info.creator, false};
    const ModuleText entry("create%sObject", name);
    const auto creator =
        reinterpret_cast<ComponentCreator>(Platform::GetProcAddress(info.module, entry.text));
    return {creator, creator == nullptr};
}

// Makes the name known, if it is not. Only the handle of a library is kept, not its creator.
Found creatorOf(Registry& all, const std::string& name) VESKO_REQUIRES(all.s_componentMutex) {
    ComponentInfo& info = all.s_componentMap[name];
    return info.creator != nullptr ? Found{info.creator, false} : getDynamicCreator(name, info);
}

// Makes an object, and says when there is no way to: with no lock held.
IUnknown* create(const Found& found, const char* name, const ServerInfo* info) {
    if (found.lacksEntry) {
        VESKO_FILTERED(error, "getDynamicCreator get proc '%s' failed!\n",
                       ModuleText("create%sObject", name).text);
    }
    return found.creator != nullptr ? found.creator(info) : nullptr;
}

// What lives in a table is found there, and leaves that; what a creator passed on is an instance
// already.
bool isElsewhere(IUnknown* object) {
    const UnknownInternal& record = UnknownInternal::of(object);
    return record.objectTable != nullptr || record.registered;
}

IUnknown* existingInstance(Registry& all, const std::string& name, const ServerInfo* info)
    VESKO_REQUIRES(all.s_componentMutex) {
    const auto place = all.s_componentMap.find(name);
    if (place == all.s_componentMap.end()) return nullptr;
    for (const ComponentInstance& instance : place->second.instances) {
        if (!instance.isFor(info)) continue;
        instance.object->addRef();
        return instance.object;
    }
    return nullptr;
}

void forgetInstance(Registry& all, IUnknown* object) VESKO_REQUIRES(all.s_componentMutex) {
    auto& s_componentMap = all.s_componentMap;
    const auto pi = s_componentMap.find(UnknownInternal::of(object).className.c_str());
    VESKO_ASSERT(pi != s_componentMap.end());
    const auto pj = std::ranges::find((*pi).second.instances, object, &ComponentInstance::object);
    VESKO_ASSERT(pj != (*pi).second.instances.end());
    (*pi).second.instances.erase(pj);
    UnknownInternal::of(object).registered = false;  // it may come back, where a creator keeps it
}

}  // namespace

bool registerComponent(const char* name, ComponentCreator creator) {
    Registry& all = registry();
    bool isNew = true;
    {
        CGuard guard(all.s_componentMutex);
        const auto added = all.s_componentMap.try_emplace(name);
        isNew = added.second;
        added.first->second.creator = creator;
    }
    if (!isNew) {
        VESKO_FILTERED(warn, "registerComponentCreator creator for '%s' already exist!\n", name);
    }
    return true;
}

IUnknown* getComponentInstance(const char* name, const ServerInfo* info) {
    Registry& all = registry();
    Found found{};
    {
        CGuard guard(all.s_componentMutex);
        if (IUnknown* instance = existingInstance(all, name, info)) return instance;
        found = creatorOf(all, name);
    }
    IUnknown* object = create(found, name, info);
    if (object == nullptr) return nullptr;
    CGuard guard(all.s_componentMutex);
    if (isElsewhere(object)) return object;
    all.s_componentMap[name].instances.emplace_back(object, info);
    UnknownInternal::of(object).registered = true;
    UnknownInternal::of(object).className = name;
    return object;
}

IUnknown* createComponentObject(const char* name, const ServerInfo* info) {
    Registry& all = registry();
    Found found{};
    {
        CGuard guard(all.s_componentMutex);
        found = creatorOf(all, name);
    }
    IUnknown* object = create(found, name, info);
    if (object == nullptr) return nullptr;
    CGuard guard(all.s_componentMutex);
    if (!isElsewhere(object)) UnknownInternal::of(object).className = name;
    return object;
}

int releaseInstance(IUnknown* object) {
    Registry& all = registry();
    int count = 0;
    {
        CGuard guard(all.s_componentMutex);
        count = decreaseRefCount(object);
        if (count == 0) forgetInstance(all, object);
    }
    if (count == 0) object->destroy();
    return count;
}

}  // namespace Tovra::Component
