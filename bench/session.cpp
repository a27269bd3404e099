// Drives Google Benchmark and keeps the median of each benchmark.
#include "bench/session.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "host/statistics/median.h"

namespace {

constexpr double kNsPerSecond = 1e9;

// What the rounds of one benchmark came to.
struct Rounds {
    std::vector<double> threadNs;
    std::vector<double> wallNs;
    std::string error;
};

class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            Rounds& rounds = mRounds[run.run_name.function_name];
            if (run.error_occurred) rounds.error = run.error_message;
            const auto iterations = static_cast<double>(std::max<std::int64_t>(run.iterations, 1));
            rounds.threadNs.push_back(run.cpu_accumulated_time / iterations * kNsPerSecond);
            rounds.wallNs.push_back(run.real_accumulated_time / iterations * kNsPerSecond);
        }
    }

    const std::map<std::string, Rounds>& rounds() const { return mRounds; }

private:
    std::map<std::string, Rounds> mRounds;
};

Times mediansOf(const Rounds& rounds) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    if (!rounds.error.empty()) return {kNone, kNone};
    return {host::medianOf(rounds.threadNs), host::medianOf(rounds.wallNs)};
}

}  // namespace

void Session::add(const std::string& name, std::function<void(benchmark::State&)> body) {
    benchmark::RegisterBenchmark(name.c_str(), std::move(body))
        ->Repetitions(mEffort.rounds)
        ->MinTime(mEffort.minSeconds)
        ->UseRealTime();
}

void Session::run() {
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector, ".");
    benchmark::ClearRegisteredBenchmarks();
    for (const auto& [name, rounds] : collector.rounds()) {
        const Times times = mediansOf(rounds);
        mMedians[name] = times;
        if (!rounds.error.empty()) mTable.fail(mTopic + ": " + name, rounds.error);
        std::fprintf(stderr, "%-12s %-20s thread %12.1f ns   wall %12.1f ns (%.1f to %.1f)\n",
                     mTopic.c_str(), name.c_str(), times.thread, times.wall,
                     *std::min_element(rounds.wallNs.begin(), rounds.wallNs.end()),
                     *std::max_element(rounds.wallNs.begin(), rounds.wallNs.end()));
    }
}

double Session::ratio(const std::string& name, const std::string& baseline, Clock clock) const {
    const Times& times = mMedians.at(name);
    const Times& base = mMedians.at(baseline);
    return clock == Clock::kThread ? times.thread / base.thread : times.wall / base.wall;
}
