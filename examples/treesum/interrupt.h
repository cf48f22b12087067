#pragma once

namespace TreeSum {

/// From now on the signals that ask the program to stop are noted; the work looks for them between
/// two files. A second one ends the program at once. A signal that was ignored stays ignored.
void watchInterrupts();

/// @return the signal that came, 0 while there is none
int interrupted();

}  // namespace TreeSum
