// A log line below the level, beside the bare question for the level.
#include <cstdint>
#include <string>

#include "bench/topics.h"
#include "platform/log.h"

namespace {

constexpr char kLogTag[] = "BENCH";

std::int64_t gArgumentsMade = 0;

// An argument that allocates, and records that it was made.
std::string expensiveArgument() {
    ++gArgumentsMade;
    return {std::string(100, 'x')};
}

// Lines that reached the platform's log.
std::int64_t gLinesWritten = 0;

}  // namespace

void benchLog(const Effort& effort, Table& table) {
    Session session("log", effort, table);
    __android_log_set_logger([](const __android_logger_data*, const char*) { ++gLinesWritten; });
    std::uint8_t gate = 3;
    session.add("line", [](benchmark::State& state) {
        for (auto _ : state)
            ORVO_LOGD(3, "benchLog", "a line with %s and %d", expensiveArgument().c_str(), 42);
        if (gArgumentsMade + gLinesWritten != 0) state.SkipWithError("made or wrote something");
    });
    session.add("gate", [&gate](benchmark::State& state) {
        for (auto _ : state) {
            bool isOpen = static_cast<std::uint8_t>(getTavoLogLevel()) >= gate;
            benchmark::DoNotOptimize(isOpen);
        }
    });
    session.run();
    // The counters must be able to count, or the check above proves nothing.
    __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
    setTavoLogLevel(3);
    ORVO_LOGD(3, "benchLog", "a line with %s and %d", expensiveArgument().c_str(), 42);
    setTavoLogLevel(0);
    if (gArgumentsMade != 1 || gLinesWritten != 1) table.fail("log", "the counters do not count");
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    table.atMost("a log line below the level, nothing made or written",
                 "a bare gated call into a shared library", session.ratio("line", "gate"), 2,
                 "times");
}
