// The wish to end, by INT, TERM or HUP.
#include "host/base/interruption.h"

#include <csignal>
#include <initializer_list>

namespace host {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void onSignal(int) {
    interrupted = 1;
}

void noteUnlessIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) return;
    action = {};
    action.sa_handler = onSignal;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void noteInterruptions() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        noteUnlessIgnored(signal);
    std::signal(SIGPIPE, SIG_IGN);
}

bool isInterrupted() {
    return interrupted != 0;
}

}  // namespace host
