#pragma once

/// Everything of the library that stands in namespace `Tovra`.

#include "vesko/memory/packet.h"
#include "vesko/memory/packetmanager.h"
#include "vesko/utils/crc.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/filefind.h"
#include "vesko/vesko3/filesystem.h"
#include "vesko/vesko3/function.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/log.h"
#include "vesko/vesko3/string.h"
#include "vesko/vesko3/time.h"
#include "vesko/vesko3/version.h"
