// Why a launch ended where it did: the findings, and what explain prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/dump/explanation.h"
#include "host/dump/explanation_report.h"
#include "host/state/spread.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A launch's memory after one evaluation.
MetricExplanation explained(const Series& memory, const std::vector<std::int32_t>& top,
                            std::int32_t settledValue, std::int32_t endpointIndex) {
    DumpedLaunch launch;
    launch.series[Metric::kVmRss] = memory;
    launch.evaluations.resize(1);
    launch.evaluations[0].metrics[Metric::kVmRss] = {memory.size(), top, settledValue,
                                                     endpointIndex};
    return explain(launch).evaluations.at(0).metrics[Metric::kVmRss];
}

TEST(Explanation, TheRuleIsTheOneThatChoseTheSettledValue) {
    // 100 to 110 is 10 %, which is close; 100 to 111 is not.
    EXPECT_EQ(explained({100, 110}, {100, 110}, 105, 0).rule, ValueRule::kMean);
    EXPECT_EQ(explained({100, 111}, {100, 111}, 111, 0).rule, ValueRule::kNewest);
    EXPECT_EQ(explained({100, 200, 100, 200, 5}, {100, 200}, 0, 0).rule, ValueRule::kNone);
    // A 0 before a value is not compared, so all are close.
    EXPECT_EQ(explained({100}, {0, 500}, 250, 0).rule, ValueRule::kMean);
}

TEST(Explanation, FrequentValuesAreCountedOnce) {
    EXPECT_EQ(explained({1, 1, 2, 2, 9}, {1, 2, 1, 2}, 2, 0).frequentValues.size(), 2U);
}

TEST(Explanation, TheFindingTellsWhyThereIsNoEndpoint) {
    EXPECT_EQ(explained(Series(20, 9), {9}, 9, 0).finding, MetricFinding::kSteadyFromStart);
    EXPECT_EQ(explained({10, 20, 30}, {10, 20, 30}, 500, 0).finding, MetricFinding::kNeverNear);
    EXPECT_EQ(explained({10, 1000, 1000}, {1000}, 1000, 1).finding, MetricFinding::kShortRun);
    EXPECT_EQ(explained({5, 5, 5}, {5}, 5, 1999).finding, MetricFinding::kNeverNear)
        << "beyond its end";
    const Series risen{10, 20, 1000, 1000, 1009, 1000, 1000, 1011};
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).finding, MetricFinding::kSettled);
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).samplesInRun, 5U) << "1011 is 1.1 % off";
}

TEST(Explanation, WhatAnUndecidedLaunchLacks) {
    DumpedLaunch unstable = golden("python3-game").launch(1);
    unstable.evaluations.pop_back();
    EXPECT_EQ(explain(unstable).missing, Missing::kStableEvaluations);
}

// A launch that was evaluated again and again, with these endpoints.
DumpedLaunch evaluated(const std::vector<std::int32_t>& memory,
                       const std::vector<std::int32_t>& score = {}) {
    DumpedLaunch launch;
    launch.evaluations.resize(memory.size());
    for (std::size_t i = 0; i < memory.size(); ++i) {
        PerMetric<MetricResult>& metrics = launch.evaluations[i].metrics;
        metrics[Metric::kVmRss].endpointIndex = memory[i];
        if (!score.empty()) metrics[Metric::kOomScore].endpointIndex = score[i];
    }
    return launch;
}

TEST(Explanation, AnUnstableComparisonStartsTheCountAnew) {
    // 110 to 100 is 10 %, which is not stable.
    const LaunchExplanation explanation = explain(evaluated({100, 105, 104, 110, 100, 101}));
    EXPECT_EQ((*explanation.evaluations.back().comparisons)[Metric::kVmRss].stableInARow, 1);
}

TEST(Explanation, ALongLaunchIsSetByTheHighestStableEndpointAndNotByTheLast) {
    DumpedLaunch launch = evaluated({100, 104, 105, 103}, {120, 120, 120, 105});
    launch.evaluations.back().finalIndex = 105;
    EXPECT_THAT(explain(launch).setBy, ElementsAre(Metric::kVmRss));
}

TEST(Spread, OnlyALaunchFarFromTheRestIsFlagged) {
    const Spread spread = spreadOf({900, 960, 870, 2400, 840, 990});
    EXPECT_DOUBLE_EQ(spread.medianMs, 930);
    EXPECT_DOUBLE_EQ(spread.meanMs, 1160);
    EXPECT_THAT(spread.farFromRest, ElementsAre(3));
    EXPECT_DOUBLE_EQ(spreadOf({300, 900, 310}).medianMs, 310);
    EXPECT_THAT(spreadOf({1000, 1300, 700, 1600, 400, 1100}).farFromRest, IsEmpty());
    EXPECT_THAT(spreadOf({300, 300, 300, 300, 350}).farFromRest, IsEmpty()) << "the grain";
    EXPECT_THAT(spreadOf({3000, 3000, 3000, 3000, 3270}).farFromRest, IsEmpty()) << "a tenth";
    EXPECT_THAT(spreadOf({300, 900, 300}).farFromRest, IsEmpty()) << "too few to judge";
}

TEST(ExplanationReport, OfVeryManyLaunchesTheLatestAreCompared) {
    Dump dump = golden("node");
    for (int i = 0; i < 1200; ++i)
        dump.summary.add(dump.launch(1));
    EXPECT_THAT(renderText(dump.explained(1)),
                AllOf(HasSubstr("Launches in the dump: 1202, settled: 1201"),
                      HasSubstr("compared are the last 1000 that settled")));
}

using ExplainVerb = HostTest;

TEST_F(ExplainVerb, TakesTheLastLaunchOrTheOneAskedFor) {
    EXPECT_EQ(host({"explain", goldenFile("python3")}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("launch 5 of 5"));
    EXPECT_EQ(host({"explain", goldenFile("python3"), "--launch", "3"}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("before the analysis"));
    EXPECT_EQ(host({"explain", goldenFile("python3"), "--launch", "6"}), 2);
}

}  // namespace
}  // namespace host
