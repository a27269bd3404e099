// orvo-bench: measures the library beside what bounds it and what would be used
// instead, and prints one table.
#include <algorithm>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/topics.h"
#include "host/base/exit_code.h"
#include "host/base/options.h"
#include "host/base/printable.h"
#include "host/dump/analysis.h"
#include "platform/tavo_log.h"

namespace {

struct Topic {
    const char* name;
    void (*run)(const Effort&, Table&);
};

// The topics of the store come last: they start the learning thread.
constexpr Topic kTopics[] = {
    {"sample", benchSample}, {"scan", benchScan},          {"evaluation", benchEvaluation},
    {"log", benchLog},       {"host", benchHost},          {"library", benchLibrary},
    {"query", benchQuery},   {"launch", benchLaunchEvent},
};

void initialiseBenchmark(char* program) {
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {program, interleave.data(), nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
}

bool isWanted(const std::vector<std::string>& wanted, const std::string& name) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

int measure(const std::vector<std::string>& wanted, const Effort& effort) {
    setTavoLogLevel(0);
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    Table table;
    for (const Topic& topic : kTopics) {
        if (!isWanted(wanted, topic.name)) continue;
        try {
            topic.run(effort, table);
        } catch (const std::exception& e) {
            table.fail(topic.name, e.what());
        }
    }
    std::printf("The library's %s build; orvo-host runs its own, the hardened one.\n\n%s",
                host::kAnalysisBuild, table.markdown().c_str());
    return table.hasFailures() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) try {
    host::Program program(
        "orvo-bench", "Measures the library; scripts/bench runs it where the fixed paths exist.");
    Effort effort;
    std::vector<std::string> wanted;
    std::vector<std::string> names;
    for (const Topic& topic : kTopics)
        names.emplace_back(topic.name);
    program.option("--rounds", effort.rounds, "Interleaved rounds").from(1, 1000);
    program.option("--min-seconds", effort.minSeconds, "Seconds of one round of one benchmark")
        .from(0.0001, 60.0);
    program.option("TOPIC", wanted, "What to measure; all without one").isOneOf(names);
    const std::optional<int> answered = program.parseWithoutCommand({argv, argv + argc});
    if (answered) return *answered;
    initialiseBenchmark(argv[0]);
    const int code = measure(wanted, effort);
    std::fflush(nullptr);
    _exit(code);  // the learning thread's handle stays joinable
} catch (const host::HostError& error) {
    std::fprintf(stderr, "orvo-bench: %s\n", host::printable(error.what()).c_str());
    return error.code();
} catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
    return 3;
}
