// COMMAND as a person gives it, and the program file it stands for.
#pragma once

#include <string>
#include <vector>

namespace host {

/// The file that runs as `name`: itself when it holds a slash, else the first
/// of that name in PATH. Throws HostError, kNotFound or kCannotRun.
std::string findProgram(const std::string& name);

/// Whether a program of that name is installed.
bool isInstalled(const std::string& name);

/// `words` as exec takes them; good for as long as these are left alone.
std::vector<char*> pointersTo(std::vector<std::string>& words);

/// The environment for a launched program: ours without what the host added,
/// plus a last entry with room for the launch's moment.
std::vector<std::string> launchEnvironment();

/// "ORVO_LAUNCH_NS=": the launch's moment in ns on the monotonic clock, so that
/// a program can measure itself from the moment that the library counts from.
constexpr const char* kLaunchMomentVariable = "ORVO_LAUNCH_NS=";

}  // namespace host
