#pragma once

#include <functional>
#include <map>
#include <string>

#include "vesko/component/factory.h"
#include "vesko/vesko3/locks.h"

namespace Tovra::Component {

/// All factories, by the name of their interface and then of their class. It owns none; null stands
/// for one that was unregistered.
struct FactoryStore {
    using Classes = std::map<std::string, IFactoryUnknown*, std::less<>>;

    Vesko::CRecursiveMutex s_factoryMutex;
    std::map<std::string, Classes, std::less<>> s_factoryMap VESKO_GUARDED_BY(s_factoryMutex);
};

FactoryStore& factoryStore();

}  // namespace Tovra::Component
