#pragma once

#include <cstdarg>

#include "vesko/export.h"
#include "vesko/vesko3/log.h"

namespace Tovra::Vesko::Detail {

/// Where a record comes from: what its header shows. No text is null.
struct Origin {
    int level;
    const char* levelText;
    const char* module = "";
    const char* version = "";
    const char* file = "";  // the last component of its path
    const char* function = "";
    int line = 0;  // file and line are shown when it is above 0
};

/// Builds a record, and sends it to every output.
/// @return characters in the record
int printRecord(const Origin& origin, const char* format, va_list arguments) VESKO_PRINTF(2, 0);

/// Changes one of the options, whatever becomes of the others meanwhile.
void changePrintOption(unsigned char PrintOptions::*field, unsigned char value);

}  // namespace Tovra::Vesko::Detail
