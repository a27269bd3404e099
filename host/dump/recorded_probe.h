// A probing launch as it is kept beside the package's dump.
#pragma once

#include <optional>

#include "host/dump/dump_file.h"
#include "host/dump/launch.h"
#include "host/learn/probe_sight.h"

namespace host {

/// A note on a launch of which the library took no sample, so that all that was seen
/// of it is `lookAfterKb`, of the kind that was chosen.
LaunchNote noteOf(const ProbeSight& sight);

/// The last probing launch beside the dump, with all that was seen as its samples.
/// Throws HostError: kNotLearned when there is none, kEnvironment when it cannot be read.
DumpedLaunch recordedProbe(const DumpSource& source);

/// What its samples show; nothing unless it is a probing launch.
std::optional<ProbeSight> sightOf(const DumpedLaunch& launch);

}  // namespace host
