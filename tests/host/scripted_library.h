// The library's two functions with a script behind them, linked in its place: what a
// host tells it is kept, and it answers with log lines, all that a host goes by.
#pragma once

#include <android/log.h>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "feature/orvo.h"

/// One per process.
struct ScriptedLibrary {
    /// What an operation comes to, given its package; one without does nothing.
    std::map<OrvoSetOp, std::function<std::int32_t(const std::string&)>> script;

    /// "launch com.a 1 0; stop com.a; " and so on, since the process began.
    std::string calls;

    // What it logs: that it takes a launch, that it has sampled twelve samples of a
    // process and learned 300 ms, and single lines of the learner or of errors.
    static void takes(const std::string& package);
    static void learns(const std::string& package, int process);
    static void learner(const std::string& message, const char* function = "statsCollector");
    static void fails(const char* tag, const char* function, const std::string& message);
};

ScriptedLibrary& library();
