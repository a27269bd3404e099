// orvo-device-root: runs a command where the library finds a device's paths.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/options.h"
#include "host/base/printable.h"
#include "host/base/standard_streams.h"
#include "host/base/version.h"
#include "host/process/command.h"
#include "host/root/device_root.h"
#include "host/state/state_folder.h"

namespace host {
namespace {

struct RootArguments {
    std::string stateFolder;
    bool realCpuset = false;
};

[[noreturn]] void becomeCommand(std::vector<std::string> command) {
    const std::string file = findProgram(command.front());
    execv(file.c_str(), pointersTo(command).data());
    throw HostError(kCannotRun, "cannot run " + file + ": " + std::strerror(errno));
}

int runCommand(const RootArguments& given, const std::vector<std::string>& command,
               const std::vector<std::string>& argv) {
    if (command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-device-root [OPTIONS] -- COMMAND...");
    }
    if (hasArrivedInDeviceRoot()) becomeCommand(command);
    findProgram(command.front());  // fails out here in plain words
    DeviceRootOptions root;
    root.realCpuset = given.realCpuset;
    if (!given.stateFolder.empty()) {
        const StateFolder state(given.stateFolder);
        state.create();
        root.dumpFolder = state.dumps();
    }
    return runInDeviceRoot(root, argv);
}

void describe(Program& program, RootArguments& given) {
    program.setFooter("Give COMMAND after --; its exit code is passed on.\n\n" +
                      std::string(kExitCodeHelp));
    program.setVersion([] { return versionOf("orvo-device-root"); });
    program
        .option("--state", given.stateFolder,
                "Keep what is written to /data/vendor/lm in DIR/dumps")
        .named("DIR");
    program.flag("--real-cpuset", given.realCpuset,
                 "Show the kernel's own cpusets (root, cgroup version 1)");
}

int run(const std::vector<std::string>& argv) {
    arriveInDeviceRoot();
    const Arguments arguments(argv);
    RootArguments given;
    Program program(
        "orvo-device-root",
        "Runs COMMAND in a private root: the machine's own file system with a device's\n"
        "/dev/cpuset/top-app/tasks and /data/vendor/lm added.");
    describe(program, given);
    const std::optional<int> answered = program.parse(arguments);
    return answered ? *answered : runCommand(given, arguments.command, argv);
}

}  // namespace
}  // namespace host

int main(int argc, char** argv) {
    host::holdStandardStreams();
    try {
        return host::run({argv, argv + argc});
    } catch (const host::HostError& error) {
        std::fprintf(stderr, "orvo-device-root: %s\n", host::printable(error.what()).c_str());
        return error.code();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvo-device-root: %s\n", host::printable(error.what()).c_str());
        return host::kEnvironment;
    }
}
