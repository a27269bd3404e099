// Times several ways of doing the same thing side by side.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bench/table.h"

/// How much to measure; the defaults are the published table's.
struct Effort {
    int rounds = 15;
    double minSeconds = 0.05;  ///< of one round of one benchmark
};

/// Which time counts: the measuring thread's own, which other programs on the
/// machine hardly inflate, or the wall's where the disk or a child works too.
enum class Clock { kThread, kWall };

/// Nanoseconds an iteration, by both clocks.
struct Times {
    double thread;
    double wall;
};

/// The benchmarks of one topic, run in random order round by round, so that
/// what disturbs the machine disturbs all of them. Results are medians.
class Session {
public:
    Session(std::string topic, const Effort& effort, Table& table)
        : mTopic(std::move(topic)), mEffort(effort), mTable(table) {}

    /// The body loops over its state and reports a wrong value by SkipWithError.
    void add(const std::string& name, std::function<void(benchmark::State&)> body);

    /// Runs what was added since the last run.
    void run();

    /// The medians' ratio; not-a-number when either benchmark failed.
    double ratio(const std::string& name, const std::string& baseline,
                 Clock clock = Clock::kThread) const;

    Table& table() { return mTable; }

private:
    std::string mTopic;
    Effort mEffort;
    Table& mTable;
    std::map<std::string, Times> mMedians;
};
