// Runs a program and takes its output.
#include "bench/child.h"

#include <spawn.h>

std::string outputOf(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);

    int ends[2];
    if (pipe(ends) != 0) throwErrno("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    pid_t pid = -1;
    const int failed =
        posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);

    std::string output;
    char buffer[256];
    ssize_t got = 0;
    while (failed == 0 && (got = read(ends[0], buffer, sizeof(buffer))) > 0)
        output.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    if (failed != 0) throw std::system_error(failed, std::generic_category(), command[0]);
    waitpid(pid, nullptr, 0);
    return output;
}
