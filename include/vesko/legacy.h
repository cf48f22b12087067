#pragma once

/// The older classes of the global namespace, kept for programs that use them.

#include "vesko/mutex.h"
#include "vesko/packet.h"
#include "vesko/time.h"
