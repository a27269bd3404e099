// The file of a library with a script behind its two functions.
#include "tests/host/scripted_library.h"

namespace {

ScriptedLibrary library;

std::string callOf(int op, const std::string& package, const void* message) {
    switch (op) {
        case ORVO_SET_LAUNCH: {
            const auto* const kind = static_cast<const std::int32_t*>(message);
            return "launch " + package + ' ' + std::to_string(kind[0]) + ' ' +
                   std::to_string(kind[1]);
        }
        case ORVO_SET_STOP:
            return "stop " + package;
        case ORVO_SET_INIT:
            return "init";
        case ORVO_SET_DEINIT:
            return "deinit";
        default:
            return "operation " + std::to_string(op);
    }
}

}  // namespace

ScriptedLibrary* scriptedLibrary() {
    return &library;
}

std::int32_t setData(int op, std::string& appName, void* msg) {
    library.calls += callOf(op, appName, msg) + "; ";
    const auto scripted = library.script.find(static_cast<OrvoSetOp>(op));
    return scripted == library.script.end() ? 0 : scripted->second(appName);
}

std::int32_t getData(int op, std::string&) {
    return op == ORVO_GET_PID ? 1 : 0;
}
