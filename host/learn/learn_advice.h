// What learn and measure say of launches that did not go as asked.
#pragma once

#include <string>
#include <vector>

#include "host/learn/learn_report.h"

namespace host {

/// What the advice names beside the launches.
struct AdviceContext {
    std::string eraseCommand;  ///< forgets the package, in this state folder; empty of measure
    std::string log;
    std::string commandOutput;
    std::string command = "COMMAND";  ///< what it is called

    /// Whether launches are only measured, so that there is nothing to forget.
    bool isMeasured() const { return eraseCommand.empty(); }
};

/// One line for each thing that a person should know, without a newline. Names in
/// it are as the processes show them, and may hold anything.
std::vector<std::string> adviceOn(const LearnReport& report, const AdviceContext& context);

}  // namespace host
