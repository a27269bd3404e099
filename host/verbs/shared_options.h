// Options that several verbs have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/dump/dump_writer.h"
#include "host/learn/launch_maker.h"

namespace host {

class Verb;

/// How launches are made, for the verbs that make any.
struct LaunchArguments {
    LaunchSettings settings;  ///< without the command
    std::string window;       ///< empty: not given, which means auto
    std::optional<std::int32_t> type;
    std::optional<std::int32_t> subtype;
    double lookAfterSeconds = -1;  ///< without it: as long as the window
    bool keepName = false;
    bool noFdCounts = false;
    bool realCpuset = false;
};

/// `verb` is what is done with the launches, "Learn"; `automatic` ends what --window
/// says of auto.
void addLaunchOptions(Verb& verb, LaunchArguments& arguments, const std::string& what,
                      const std::string& automatic);

/// Throws HostError, kUsage, for a fault in the names or the options. `name` is the
/// verb's argument that the package stands for.
void checkLaunchArguments(LaunchArguments& arguments, const std::string& name);

/// None for a probing launch to choose. Throws HostError, kUsage.
std::optional<LaunchKind> kindAskedFor(const LaunchArguments& arguments);

/// COMMAND as it is launched under the package's name. Throws HostError.
CommandLine commandLineOf(const LaunchArguments& arguments, const std::vector<std::string>& words);

struct DumpArguments {
    bool dump = false;
    std::size_t dumpsKept = kDumpsKept;
};

void addDumpOptions(Verb& verb, DumpArguments& arguments);

}  // namespace host
