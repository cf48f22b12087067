#pragma once

#include <string>

#include "options.h"

namespace TreeSum {

/// Hands the user's wishes to the library's log. Its records go to standard error: between the result
/// lines they would spoil a manifest.
void setUpJournal(const Options& options);

enum class Detail { info = 4, trace = 5 };

/// Writes a record of this program. The place is the caller's.
void note(Detail detail, const std::string& text, const char* file = __builtin_FILE(),
          const char* function = __builtin_FUNCTION(), int line = __builtin_LINE());

}  // namespace TreeSum
