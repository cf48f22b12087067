#pragma once

#include "options.h"
#include "report.h"

namespace TreeSum {

/// Prints the checksums of all files that the options' paths lead to, until an interrupt comes or
/// standard output fails.
/// @return false when an interrupt cut it short
bool sumPaths(const Options& options, Report& report);

}  // namespace TreeSum
