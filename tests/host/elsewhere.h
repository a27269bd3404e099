// Questions that another process answers: it sees our locks as held, and takes signals
// that end nothing of ours.
#pragma once

#include <functional>
#include <unistd.h>

#include "host/process/child_process.h"

/// What `question` answers in a child process; 128 + N when signal N ended it.
inline int elsewhere(const std::function<int()>& question) {
    const pid_t child = fork();
    if (child == 0) _exit(question());
    int status = 0;
    waitpid(child, &status, 0);
    return host::exitCodeOf(status);
}
