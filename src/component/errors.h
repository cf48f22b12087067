#pragma once

/// The last errors of components.
namespace Tovra::Component {

enum Error : int {
    interfaceNotFound = 0x10030000,
    classNotFound = 0x10030001,
    clientNotFound = 0x10030002,
    clientNotExist = 0x10030003,
    creatingFailed = 0x1003000D,
    gettingFailed = 0x1003000E,
    notOffered = 0x10030010  // has no text
};

/// Installs the texts of all component errors. Only the first call of the process does anything.
void installErrorTexts();

}  // namespace Tovra::Component
