#pragma once

#include <source_location>
#include <string>

#include "options.h"

namespace TreeSum {

/// Hands the user's wishes to the library's log. Its records go to standard error: between the result
/// lines they would spoil a manifest.
void setUpJournal(const Options& options);

enum class Detail { info = 4, trace = 5 };

/// Writes a record of this program.
void note(Detail detail, const std::string& text,
          const std::source_location& place = std::source_location::current());

}  // namespace TreeSum
