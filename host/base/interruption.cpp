// The wish to end, by INT, TERM or HUP.
#include "host/base/interruption.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace host {
namespace {

// A signal may come to the library's thread.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal's handler must not wait");

void onSignal(int) {
    interrupted = true;
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
    return interrupted;
}

}  // namespace host
