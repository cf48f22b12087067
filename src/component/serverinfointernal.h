#pragma once

namespace Tovra::Component {

/// @return a text of a `ServerInfo`, where null stands for the empty one
inline const char* textOf(const char* text) { return text != nullptr ? text : ""; }

}  // namespace Tovra::Component
