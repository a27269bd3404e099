// Opens what /proc has on processes.
#include "host/process/proc_file.h"

#include <cerrno>
#include <cstring>

#include "host/base/exit_code.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

bool isGoneOrHidden(int error) {
    return error == ENOENT || error == ESRCH || error == EACCES || error == EPERM;
}

// A living process must not be taken for one that is gone.
void checkFault(const std::string& path) {
    const int error = errno;
    if (isGoneOrHidden(error)) return;
    const char* const remedy =
        error == EMFILE ? "; raise the limit of open files (ulimit -n)" : "; close other programs";
    throw HostError(kEnvironment, "cannot open " + path + ": " + std::strerror(error) + remedy);
}

}  // namespace

std::string procPath(pid_t task, const char* file) {
    return "/proc/" + std::to_string(task) + '/' + file;
}

UniqueFd openProcFile(const std::string& path) {
    UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) checkFault(path);
    return file;
}

std::string readProcFile(pid_t task, const char* file) {
    const UniqueFd opened = openProcFile(procPath(task, file));
    std::string text;
    if (opened.isOpen()) readWhole(opened.get(), text);
    return text;
}

ProcFolder openProcFolder(const std::string& path) {
    ProcFolder folder(opendir(path.c_str()));
    if (!folder) checkFault(path);
    return folder;
}

}  // namespace host
