// orvo-comparisons: how often compare is wrong, on simulated sessions of launches
// through the library's own analysis.
#include <algorithm>
#include <android/log.h>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

#include "bench/series.h"
#include "host/compare/comparison.h"
#include "host/dump/analysis.h"
#include "host/statistics/median.h"
#include "host/verdict/second_opinion.h"

namespace {

using host::TimeBy;

constexpr int kSessions = 1000;  // a kind
constexpr int kRuns = 20;        // of each of the two
constexpr int kRunsForTruth = 300;
constexpr std::size_t kSamples = 100;
constexpr std::int32_t kPeriodMs = host::kSamplePeriodMs;
constexpr double kFirstLookMs = 200;
constexpr double kSlower = 1.1;
constexpr double kGatePercent = 5;
constexpr double kDeviation = 0.017;  // from launch to launch, of a launch's time

// Those that settle within the window, also when they are slower.
constexpr LaunchKind kKinds[] = {
    LaunchKind::kSteps,       LaunchKind::kRamp,        LaunchKind::kCollectorDrops,
    LaunchKind::kExponential, LaunchKind::kTwoPlateaus, LaunchKind::kSpikes,
    LaunchKind::kDrift,       LaunchKind::kNoisyRamp,   LaunchKind::kSawTooth};

std::int32_t endpointOf(const std::vector<std::int32_t>& memoryKb) {
    LaunchSeries series;
    series[Metric::kVmRss] = memoryKb;
    series[Metric::kOomScore].assign(memoryKb.size(), 667);
    constexpr std::int32_t kType = 1;
    return host::Analysis(kType, 1)
        .evaluateUntilDecided(series, host::evaluationsOf(series, kType))
        .back()
        .finalIndex.value_or(0);
}

std::int32_t opinionOn(const std::vector<std::int32_t>& memoryKb) {
    const auto opinion = host::secondOpinion(memoryKb, host::kShortStreak);
    return static_cast<std::int32_t>(opinion.settledAt.value_or(0));
}

// A command whose launches all have the same course, at their own pace.
class Command {
public:
    // A value a millisecond instead of one a period.
    Command(LaunchKind kind, std::uint32_t seed) {
        Random random(seed);
        const LabelledLaunch launch = simulateLaunch(kind, kSamples * kPeriodMs, random);
        mMemoryKb = launch.series[Metric::kVmRss];
        mMemoryKb.insert(mMemoryKb.end(), launch.laterRssKb.begin(), launch.laterRssKb.end());
        mSettledMs = launch.settledAt;
    }

    double settledMs() const { return mSettledMs; }

    // With the time to its endpoint, or to the second opinion, for which it was looked
    // at for as long again. The samples lie by chance within their period, as measure
    // has it.
    host::MeasuredLaunch launch(double slowness, TimeBy by, Random& random) const {
        const double pace = slowness * (1 + kDeviation * random.normal());
        const double firstMs = kFirstLookMs + random.uniform(0, kPeriodMs);
        std::vector<std::int32_t> seenKb;
        for (std::size_t i = 0; i < (by == TimeBy::kEndpoint ? 1 : 2) * kSamples; ++i) {
            const double atMs = firstMs + static_cast<double>(i) * kPeriodMs;
            const auto at = static_cast<std::size_t>(atMs / pace);
            seenKb.push_back(mMemoryKb[std::min(at, mMemoryKb.size() - 1)]);
        }
        host::MeasuredLaunch launch;
        launch.huntTimeMs = 0;
        launch.sampledAtMs = {static_cast<std::int32_t>(std::lround(firstMs))};
        const std::int32_t index = by == TimeBy::kEndpoint ? endpointOf(seenKb) : opinionOn(seenKb);
        if (index < 1) return launch;
        launch.assessment.secondOpinionMs = index * kPeriodMs;
        launch.assessment.sinceStartMs = launch.opinionMs();
        return launch;
    }

    host::Measurement measure(double slowness, int runs, TimeBy by, Random& random) const {
        host::Measurement measurement;
        for (int run = 1; run <= runs; ++run) {
            measurement.launches.push_back(launch(slowness, by, random));
            measurement.launches.back().run = run;
        }
        return measurement;
    }

private:
    std::vector<std::int32_t> mMemoryKb;
    double mSettledMs;
};

struct Score {
    int sessions = 0;
    int falseAlarms = 0;
    int heldNothing = 0;  // intervals that hold 0 where there is no difference
    int found = 0;
    int heldTruth = 0;
    int gateFailed = 0;  // of the same
    int gateCaught = 0;  // of the slower
    std::vector<double> smallestSeenPercent;
};

bool holds(const host::Comparison& comparison, double truthMs) {
    return comparison.intervalMs && comparison.intervalMs->low <= truthMs &&
           truthMs <= comparison.intervalMs->high;
}

// Endpoints differ by what those of many launches do, which may be less than the
// launches do: that is what they say.
std::optional<double> trueDifference(const Command& command, TimeBy by, Random& random) {
    if (by == TimeBy::kOpinion) return (kSlower - 1) * command.settledMs();
    const auto medianOfMany = [&](double slowness) {
        return host::summaryOf(command.measure(slowness, kRunsForTruth, by, random)).medianMs;
    };
    const std::optional<double> older = medianOfMany(1);
    const std::optional<double> slower = medianOfMany(kSlower);
    if (!older || !slower) return std::nullopt;
    return *slower - *older;
}

void addSession(const Command& command, TimeBy by, Random& random, Score& score) {
    const std::optional<double> truthMs = trueDifference(command, by, random);
    if (!truthMs) return;
    const host::Measurement before = command.measure(1, kRuns, by, random);
    const host::Measurement same = command.measure(1, kRuns, by, random);
    const host::Measurement after = command.measure(kSlower, kRuns, by, random);
    const auto isCompared = [](const host::Measurement& measurement) {
        return host::summaryOf(measurement).medianIntervalMs.has_value();
    };
    if (!isCompared(before) || !isCompared(same) || !isCompared(after)) return;
    ++score.sessions;
    const host::Comparison nothing = host::compare(before, same);
    score.falseAlarms += nothing.finding != host::Finding::kNoDifferenceSeen;
    score.heldNothing += holds(nothing, 0);
    const host::Comparison difference = host::compare(before, after);
    score.found += difference.finding == host::Finding::kSlower;
    score.heldTruth += holds(difference, *truthMs);
    score.gateFailed += nothing.isSlowerBy(kGatePercent);
    score.gateCaught += difference.isSlowerBy(kGatePercent);
    score.smallestSeenPercent.push_back(*nothing.smallestSeenPercent);
}

void printRow(LaunchKind kind, TimeBy by) {
    Score score;
    for (std::uint32_t session = 0; session < kSessions; ++session) {
        const Command command(kind, 2 * session);
        Random random(2 * session + 1);
        addSession(command, by, random, score);
    }
    std::printf("| %s | %d |", kindName(kind), score.sessions);
    if (score.sessions == 0) {
        std::printf(" | | | | | | |\n");
        return;
    }
    std::printf(" %.1f %% |", host::medianOf(score.smallestSeenPercent));
    for (const int sessions : {score.falseAlarms, score.heldNothing, score.found, score.heldTruth,
                               score.gateFailed, score.gateCaught})
        std::printf(" %.1f %% |", 100.0 * sessions / score.sessions);
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace

int main() {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    for (const TimeBy by : {TimeBy::kEndpoint, TimeBy::kOpinion}) {
        std::printf(
            "%s| simulated, %d runs each, by the %s | sessions | sees from | same: slower or "
            "faster | same: interval holds 0 | 10 %% slower: found | 10 %% slower: interval holds "
            "the truth | gate of %.0f %%: same fails | gate of %.0f %%: 10 %% slower fails "
            "|\n|---|---|---|---|---|---|---|---|---|\n"
            "| target | | | at most 5 %% | at least 93 %% | at least 95 %% | at least 93 %% | | "
            "|\n",
            by == TimeBy::kEndpoint ? "" : "\n", kRuns,
            by == TimeBy::kEndpoint ? "endpoint" : "second opinion", kGatePercent, kGatePercent);
        for (const LaunchKind kind : kKinds)
            printRow(kind, by);
    }
    return 0;
}
