// A fork that fails in plain words.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

#include "host/base/exit_code.h"

namespace host {

/// As fork(). Throws HostError.
inline pid_t forkProcess() {
    const pid_t child = fork();
    if (child >= 0) return child;
    throw HostError(kEnvironment, std::string("cannot start a process: ") + std::strerror(errno) +
                                      "; raise the limit of processes (ulimit -u)");
}

}  // namespace host
