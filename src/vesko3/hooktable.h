#pragma once

#include "vesko/vesko3/filesystem.h"

namespace Tovra::Vesko::Detail {

/// @return the table of the first hook whose prefix begins `path`, else the default table
IFileSystem* fileSystemOf(const char* path);

}  // namespace Tovra::Vesko::Detail
