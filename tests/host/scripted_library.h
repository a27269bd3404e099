// A library with a script behind its two functions: what a host tells it is kept, and it
// answers with log lines, all that a host goes by.
#pragma once

#include <algorithm>
#include <android/log.h>
#include <cstdint>
#include <dlfcn.h>
#include <functional>
#include <map>
#include <string>

#include "feature/orvo.h"

/// The one of a process.
struct ScriptedLibrary {
    /// What an operation comes to, given its package; one without does nothing.
    std::map<OrvoSetOp, std::function<std::int32_t(const std::string&)>> script;

    /// "launch com.a 1 0; stop com.a; " and so on, since the process began.
    std::string calls;

    /// Logs as the learner does.
    static void learner(const std::string& message, const char* function = "statsCollector") {
        say(ANDROID_LOG_DEBUG, "TAVO-ORVO-LEARNER", function, message);
    }
    static void fails(const char* tag, const char* function, const std::string& message) {
        say(ANDROID_LOG_ERROR, tag, function, message);
    }
    static void takes(const std::string& package) {
        say(ANDROID_LOG_DEBUG, "TAVO-ORVO", "setData",
            "waking up learning thread for appName:" + package);
        learner("Start Learning appName:" + package);
    }
    /// Takes the launch, and a dozen samples of the process, and learns 300 ms.
    static void learns(const std::string& package, int process) {
        takes(package);
        learner("actual pid = " + std::to_string(process) + " TimeTakenToFind 200.5 ms");
        learner("Decided Samples = 34. Starting collection ...");
        for (int i = 1; i <= 12; ++i)
            learner("Process total rss = " + std::to_string(1000 * std::min(i, 4)),
                    "getProcessVmRss");
        learner("vmRssBias=0, streak=5", "churnForStablizingPoints");
        learner("VMRSS EndPoint IDX 3", "calculateEndp");
        learner("Final EndPoint * * * IDX 3", "concludeEp");
        learner("dump property not set, cancelling", "exportToFile");
        learner("Learned Launch Endpoint for " + package + " = 300");
        learner("Waiting for Launch Event...");
    }

private:
    static void say(int priority, const std::string& tag, const std::string& function,
                    const std::string& message) {
        __android_log_write(priority, tag.c_str(),
                            (tag + ": " + function + "() 1: " + message).c_str());
    }
};

/// Beside the library's functions in its file.
extern "C" ORVO_EXPORT ScriptedLibrary* scriptedLibrary();
