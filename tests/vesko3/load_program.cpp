// A program that does nothing of its own. With an argument it lets info records pass before the
// library is loaded: the functions of this section run ahead of every static object.

#include "vesko/vesko3/log.h"

namespace {

void letInfoPass(int argumentCount, char**, char**) {
    if (argumentCount > 1) Tovra::Vesko::setPrintLogLevel(4);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const s_first)(int, char**,
                                                                    char**) = &letInfoPass;

}  // namespace

int main() { return Tovra::Vesko::getPrintLogLevel() == 0 ? 1 : 0; }
