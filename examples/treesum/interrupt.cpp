#include "interrupt.h"

#include <csignal>
#include <initializer_list>

namespace TreeSum {

namespace {

volatile std::sig_atomic_t s_signal = 0;

void note(int signal) {
    s_signal = signal;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void watchInterrupts() {
    for (const int signal : {SIGINT, SIGTERM}) {
        if (std::signal(signal, note) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
    // A closed pipe is a failed write, reported like a full disk.
    std::signal(SIGPIPE, SIG_IGN);
}

int interrupted() { return s_signal; }

}  // namespace TreeSum
