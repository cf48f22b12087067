#pragma once

#include "options.h"
#include "report.h"

namespace TreeSum {

/// Verifies the files that the options' manifest lists, until an interrupt comes or standard output
/// fails. Closes with warnings that count what went wrong.
/// @return false when an interrupt cut it short
bool checkManifest(const Options& options, Report& report);

}  // namespace TreeSum
