// COMMAND as a person gives it, and the program file it stands for.
#include "host/process/command.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/prefix.h"

namespace host {
namespace {

constexpr const char* kDefaultPath = "/usr/local/bin:/usr/bin:/bin";
constexpr std::size_t kMomentDigits = 20;

enum class Program { kMissing, kNotExecutable, kExecutable };

Program judge(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return Program::kMissing;
    const bool runs = S_ISREG(status.st_mode) && access(file.c_str(), X_OK) == 0;
    return runs ? Program::kExecutable : Program::kNotExecutable;
}

std::vector<std::string> candidates(const std::string& name) {
    if (name.find('/') != std::string::npos) return {name};
    const char* path = std::getenv("PATH");
    std::string rest = path == nullptr ? kDefaultPath : path;
    std::vector<std::string> files;
    while (true) {
        const std::size_t end = rest.find(':');
        const std::string folder = rest.substr(0, end);
        files.push_back((folder.empty() ? "." : folder) + '/' + name);
        if (end == std::string::npos) return files;
        rest.erase(0, end + 1);
    }
}

bool isHostsOwn(const std::string& entry) {
    return startsWith(entry, "TAVO_DB_PATH=") || startsWith(entry, "TAVO_PROPERTIES=") ||
           startsWith(entry, kLaunchMomentVariable);
}

}  // namespace

std::string findProgram(const std::string& name) {
    bool found = false;
    for (const std::string& file : name.empty() ? std::vector<std::string>() : candidates(name)) {
        const Program program = judge(file);
        if (program == Program::kExecutable) return file;
        found = found || program == Program::kNotExecutable;
    }
    if (found) {
        throw HostError(kCannotRun, "cannot run " + name +
                                        ": not an executable file; check its mode (chmod +x)");
    }
    throw HostError(kNotFound, "command not found: '" + name + "'; check its name and PATH");
}

bool isInstalled(const std::string& name) {
    try {
        findProgram(name);
        return true;
    } catch (const HostError&) {
        return false;
    }
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> launchEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!isHostsOwn(*entry)) entries.emplace_back(*entry);
    }
    entries.push_back(kLaunchMomentVariable + std::string(kMomentDigits, '0'));
    return entries;
}

}  // namespace host
