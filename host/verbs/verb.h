// A verb of orvo-host: its own options beside the common ones, and what it does.
#pragma once

#include <functional>
#include <string>

#include "host/base/options.h"

namespace host {

struct Invocation;

class Verb : public Options {
public:
    /// Adds a verb with the common options and a usage line of its own. The program and
    /// the invocation must outlive it.
    Verb(Program& program, Invocation& invocation, const std::string& name,
         const std::string& description, const std::string& usage);

    /// What it does when it was called; returns the exit code.
    void runs(const std::function<int()>& run);

private:
    Invocation& mInvocation;
};

}  // namespace host
