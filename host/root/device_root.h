// The private root in which the library finds a device's paths: the machine's
// own file system with /dev/cpuset/top-app/tasks and /data/vendor/lm added,
// made by bubblewrap. It vanishes with the last process in it.
//
// A program that is to run inside starts itself again there: it calls
// arriveInDeviceRoot first thing, asks isDeviceRoot when it needs the paths,
// and when they are missing returns what runInDeviceRoot returns.
#pragma once

#include <string>
#include <vector>

namespace host {

constexpr const char* kDumpFolder = "/data/vendor/lm";

struct DeviceRootOptions {
    std::string dumpFolder;   ///< shown as /data/vendor/lm; empty: a folder that vanishes
    bool realCpuset = false;  ///< the kernel's own cpusets at /dev/cpuset
    /// A process namespace of its own, where one can be made: the kernel ends
    /// all that runs inside with this program or any process of bubblewrap's.
    bool ownProcesses = false;
};

/// Takes note of having been started by runInDeviceRoot, if so.
void arriveInDeviceRoot();

/// Whether this process was started by runInDeviceRoot.
bool hasArrivedInDeviceRoot();

/// Whether the library's paths are there, by a private root or by a device.
/// With `realCpuset` the task list must be the kernel's. Throws HostError when
/// they are missing although this process was started inside.
bool isDeviceRoot(bool realCpuset);

/// Runs this program with the arguments `program` (argv[0] included) in a
/// private root, passes signals on to it, and returns its exit code, 128 + N
/// when signal N ended it. Throws HostError, with the remedy, when the root
/// cannot be made.
int runInDeviceRoot(const DeviceRootOptions& options, const std::vector<std::string>& program);

/// Why a private root made here has no processes of its own; empty when it has.
/// Throws HostError when bubblewrap cannot be started.
std::string ownProcessesFault();

}  // namespace host
