// The library's two functions with a script behind them.
#include "tests/host/scripted_library.h"

#include <algorithm>

namespace {

void say(int priority, const std::string& tag, const char* function, const std::string& message) {
    __android_log_write(priority, tag.c_str(),
                        (tag + ": " + function + "() 1: " + message).c_str());
}

std::string callOf(int op, const std::string& package, const void* message) {
    switch (op) {
        case ORVO_SET_LAUNCH: {
            const auto* const kind = static_cast<const std::int32_t*>(message);
            return "launch " + package + ' ' + std::to_string(kind[0]) + ' ' +
                   std::to_string(kind[1]);
        }
        case ORVO_SET_STOP:
            return "stop " + package;
        case ORVO_SET_ERASE:
            return "erase " + package;
        case ORVO_SET_INIT:
            return "init";
        case ORVO_SET_DEINIT:
            return "deinit";
        default:
            return "operation " + std::to_string(op);
    }
}

}  // namespace

void ScriptedLibrary::takes(const std::string& package) {
    say(ANDROID_LOG_DEBUG, "TAVO-ORVO", "setData",
        "waking up learning thread for appName:" + package);
    learner("Start Learning appName:" + package);
}

void ScriptedLibrary::learns(const std::string& package, int process) {
    takes(package);
    learner("actual pid = " + std::to_string(process) + " TimeTakenToFind 200.5 ms");
    learner("Decided Samples = 34. Starting collection ...");
    for (int i = 0; i < 12; ++i)
        learner("Process total rss = " + std::to_string(1000 * std::min(i + 1, 4)),
                "getProcessVmRss");
    learner("vmRssBias=0, streak=5", "churnForStablizingPoints");
    learner("VMRSS EndPoint IDX 3", "calculateEndp");
    learner("Final EndPoint * * * IDX 3", "concludeEp");
    learner("dump property not set, cancelling", "exportToFile");
    learner("Learned Launch Endpoint for " + package + " = 300");
    learner("Waiting for Launch Event...");
}

void ScriptedLibrary::learner(const std::string& message, const char* function) {
    say(ANDROID_LOG_DEBUG, "TAVO-ORVO-LEARNER", function, message);
}

void ScriptedLibrary::fails(const char* tag, const char* function, const std::string& message) {
    say(ANDROID_LOG_ERROR, tag, function, message);
}

ScriptedLibrary& library() {
    static ScriptedLibrary theLibrary;
    return theLibrary;
}

std::int32_t setData(int op, std::string& appName, void* msg) {
    library().calls += callOf(op, appName, msg) + "; ";
    const auto scripted = library().script.find(static_cast<OrvoSetOp>(op));
    return scripted == library().script.end() ? 0 : scripted->second(appName);
}

std::int32_t getData(int op, std::string&) {
    return op == ORVO_GET_PID ? 1 : 0;
}
