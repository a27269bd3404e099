// Runs gnuplot.
#include "host/dump/gnuplot.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/mman.h>
#include <sys/wait.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/process/command.h"
#include "host/process/fork.h"

namespace host {
namespace {

constexpr std::size_t kQuotedComplaint = 200;

[[noreturn]] void fail(const std::string& doing) {
    throw HostError(kEnvironment, "cannot " + doing + ": " + std::strerror(errno));
}

// A file in memory. Gnuplot's streams are such files instead of pipes, so that
// neither side ever waits for the other.
UniqueFd memoryFile() {
    UniqueFd file(memfd_create("gnuplot", MFD_CLOEXEC));
    if (!file.isOpen()) fail("make a file in memory");
    return file;
}

std::string contentOf(const UniqueFd& file) {
    std::string text;
    lseek(file.get(), 0, SEEK_SET);
    if (!readWhole(file.get(), text)) fail("read a file in memory");
    return text;
}

// Async-signal-safe: it stands between fork and exec.
[[noreturn]] void becomeGnuplot(const char* file, int input, int output, int errors) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execl(file, "gnuplot", "--default-settings", static_cast<char*>(nullptr));
    _exit(kNotFound);
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) fail("wait for gnuplot");
    }
    return status;
}

std::string findGnuplot() {
    if (isInstalled("gnuplot")) return findProgram("gnuplot");
    throw HostError(kEnvironment, "gnuplot is not installed; run: apt-get install gnuplot-nox");
}

}  // namespace

std::string runGnuplot(const std::string& script) {
    const std::string file = findGnuplot();
    const UniqueFd input = memoryFile();
    const UniqueFd output = memoryFile();
    const UniqueFd errors = memoryFile();
    if (!writeWhole(input.get(), script)) fail("write to a file in memory");
    lseek(input.get(), 0, SEEK_SET);
    const pid_t child = forkProcess();
    if (child == 0) becomeGnuplot(file.c_str(), input.get(), output.get(), errors.get());
    const int status = waitFor(child);
    std::string picture = contentOf(output);
    if (status != 0 || picture.empty()) {
        throw HostError(kEnvironment,
                        "gnuplot failed: " + printable(contentOf(errors), kQuotedComplaint));
    }
    if (picture.front() == '\f') picture.erase(0, 1);  // before a text
    return picture;
}

}  // namespace host
