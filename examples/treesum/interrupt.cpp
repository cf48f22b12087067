#include "interrupt.h"

#include <signal.h>

#include <initializer_list>

namespace TreeSum {

namespace {

constexpr int s_stopSignals[] = {SIGINT, SIGTERM};

volatile sig_atomic_t s_signal = 0;

void note(int signal) {
    s_signal = signal;
    for (const int stop : s_stopSignals) ::signal(stop, SIG_DFL);
}

// Without a restart of system calls: a read that waits for a pipe ends too.
void watch(int signal) {
    struct sigaction before {};
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = note;
    ::sigaction(signal, &action, nullptr);
}

}  // namespace

void watchInterrupts() {
    for (const int stop : s_stopSignals) watch(stop);
    // A closed pipe is a failed write, reported like a full disk.
    ::signal(SIGPIPE, SIG_IGN);
}

int interrupted() { return s_signal; }

void endByInterrupt() {
    ::signal(s_signal, SIG_DFL);
    ::raise(s_signal);
}

}  // namespace TreeSum
