// orvo-host: plays the host's part for the library, on a developer's machine.
#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/root/device_root.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

int run(const std::vector<std::string>& program) {
    arriveInDeviceRoot();
    Invocation invocation(program);
    const std::optional<int> answered = parse(invocation);
    if (answered) return *answered;
    if (!invocation.verb) throw HostError(kUsage, "a verb is missing; see orvo-host --help");
    return invocation.verb();
}

int runGuarded(int argc, char** argv) {
    try {
        return run({argv, argv + argc});
    } catch (const HostError& error) {
        sayLine(error.what());
        return error.code();
    } catch (const std::exception& error) {
        sayLine(error.what());
        return kEnvironment;
    }
}

}  // namespace
}  // namespace host

// Leaves with _exit, as a host of the library must (feature/orvo.h).
int main(int argc, char** argv) {
    host::holdStandardStreams();
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit of file sizes fails instead
    const int code = host::runGuarded(argc, argv);
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}
