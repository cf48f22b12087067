#pragma once

namespace TreeSum {

/// From now on the signals that ask the program to stop are noted; reading ends at the next piece of
/// a file. A second one ends the program at once. A signal that was ignored stays ignored.
void watchInterrupts();

/// @return the signal that came, 0 while there is none
int interrupted();

/// Ends the program by the signal that came, so that whoever started it sees so.
void endByInterrupt();

}  // namespace TreeSum
