#include "vesko/component/serverinfo.h"

namespace Tovra::Component {

constinit const ServerInfo ServerInfo::none{};

}  // namespace Tovra::Component
