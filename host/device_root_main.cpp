// orvo-device-root: runs a command where the library finds a device's paths.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "host/base/arguments.h"
#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/standard_streams.h"
#include "host/base/version.h"
#include "host/process/command.h"
#include "host/root/device_root.h"
#include "host/state/state_folder.h"

namespace host {
namespace {

struct Options {
    std::string stateFolder;
    bool realCpuset = false;
};

[[noreturn]] void becomeCommand(std::vector<std::string> command) {
    const std::string file = findProgram(command.front());
    execv(file.c_str(), pointersTo(command).data());
    throw HostError(kCannotRun, "cannot run " + file + ": " + std::strerror(errno));
}

int runCommand(const Options& options, const std::vector<std::string>& command,
               const std::vector<std::string>& program) {
    if (command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-device-root [OPTIONS] -- COMMAND...");
    }
    if (hasArrivedInDeviceRoot()) becomeCommand(command);
    findProgram(command.front());  // fails out here in plain words
    DeviceRootOptions root;
    root.realCpuset = options.realCpuset;
    if (!options.stateFolder.empty()) {
        const StateFolder state(options.stateFolder);
        state.create();
        root.dumpFolder = state.dumps();
    }
    return runInDeviceRoot(root, program);
}

void describe(CLI::App& app, Options& options) {
    app.footer("Give COMMAND after --; its exit code is passed on.\n\n" +
               std::string(kExitCodeHelp));
    app.set_version_flag("--version", versionOf("orvo-device-root"));
    app.add_option("--state", options.stateFolder,
                   "Keep what is written to /data/vendor/lm in DIR/dumps")
        ->type_name("DIR");
    app.add_flag("--real-cpuset", options.realCpuset,
                 "Show the kernel's own cpusets (root, cgroup version 1)");
}

int run(const std::vector<std::string>& program) {
    arriveInDeviceRoot();
    const Arguments arguments(program);
    Options options;
    CLI::App app(
        "Runs COMMAND in a private root: the machine's own file system with a device's\n"
        "/dev/cpuset/top-app/tasks and /data/vendor/lm added.",
        "orvo-device-root");
    describe(app, options);
    const std::optional<int> answered = parse(app, arguments);
    return answered ? *answered : runCommand(options, arguments.command, program);
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
