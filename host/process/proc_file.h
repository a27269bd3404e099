// Opens what /proc has on processes.
#pragma once

#include <dirent.h>
#include <memory>
#include <string>

#include "host/base/unique_fd.h"

namespace host {

/// The path of `file` in the folder of a process or task.
std::string procPath(pid_t task, const char* file);

/// Not open when the process is gone, or hidden from us by the way /proc is
/// mounted. Throws HostError when the fault is ours, such as too many open files.
UniqueFd openProcFile(const std::string& path);

/// The text of `file` in the folder of a process or task; what there was when it
/// went meanwhile.
std::string readProcFile(pid_t task, const char* file);

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};
using ProcFolder = std::unique_ptr<DIR, CloseFolder>;

/// The same for a folder, null when it is gone or hidden.
ProcFolder openProcFolder(const std::string& path);

}  // namespace host
