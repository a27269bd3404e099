// Checks of what the runs need, each with a remedy.
#pragma once

#include <string>
#include <vector>

#include "host/state/state_folder.h"

namespace host {

enum class Health { kWell, kNote, kAmiss };

struct CheckFinding {
    Health health;
    std::string subject;
    std::string text;  ///< what was found, and for kAmiss what to do
};

/// Whether nothing is amiss.
bool isWell(const std::vector<CheckFinding>& findings);

/// Looks at what is inside a device root, and changes nothing. To be called
/// while a LogSink keeps the database's complaints from the terminal.
std::vector<CheckFinding> checkDevicePaths();

/// Looks at the state folder and what is in it.
std::vector<CheckFinding> checkState(const StateFolder& state);

/// Looks at what else the library and the verbs need.
std::vector<CheckFinding> checkTools();

}  // namespace host
