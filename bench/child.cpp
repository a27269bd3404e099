// Runs a program and takes its output.
#include "bench/child.h"

#include <spawn.h>

#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/process/command.h"

std::string outputOf(std::vector<std::string> command) {
    host::Pipe pipe;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe.writeEnd.get(), STDOUT_FILENO);
    pid_t pid = -1;
    const int failed = posix_spawnp(&pid, command[0].c_str(), &actions, nullptr,
                                    host::pointersTo(command).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    pipe.writeEnd.reset();
    if (failed != 0) throw std::system_error(failed, std::generic_category(), command[0]);

    std::string output;
    host::readWhole(pipe.readEnd.get(), output);
    waitpid(pid, nullptr, 0);
    return output;
}
