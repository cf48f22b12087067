#pragma once

#include <cstdint>

namespace Remote {

/// Sends a server what no client would: impossible lengths, unknown kinds, half frames, silence, and
/// more connections than it takes.
void sendGarbage(std::uint16_t port);

}  // namespace Remote
