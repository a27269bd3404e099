// The scan's parsers: the cpuset's task list, and the lines of a task's status.
#include "fuzz/support.h"
#include "learner/task_text.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    std::istringstream tasks(text);
    const std::vector<std::int32_t> ids = readTaskIds(tasks);

    // What was read, written as the kernel does, reads the same.
    std::string listed;
    for (const std::int32_t id : ids)
        listed += std::to_string(id) + '\n';
    std::istringstream again(listed);
    fuzz::require(readTaskIds(again) == ids);

    std::istringstream status(text);
    std::string line;
    while (std::getline(status, line)) {
        std::int32_t tgid = -1;
        const bool found = readTgid(line, tgid);
        fuzz::require(found || tgid == -1);
    }
    return 0;
}
