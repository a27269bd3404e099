// Why a launch ended where it did: the findings, and what explain prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/dump/explanation.h"
#include "host/dump/explanation_report.h"
#include "host/dump/spread.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

/// A launch of one evaluation, of its memory alone.
DumpedLaunch launchOf(const Series& memory, const std::vector<std::int32_t>& top,
                      std::int32_t settledValue, std::int32_t endpointIndex) {
    DumpedLaunch launch;
    launch.series[Metric::kVmRss] = memory;
    launch.evaluations.resize(1);
    launch.evaluations[0].metrics[Metric::kVmRss] = {memory.size(), top, settledValue,
                                                     endpointIndex};
    return launch;
}

MetricExplanation explained(const Series& memory, const std::vector<std::int32_t>& top,
                            std::int32_t settledValue, std::int32_t endpointIndex) {
    return explain(launchOf(memory, top, settledValue, endpointIndex))
        .evaluations.at(0)
        .metrics[Metric::kVmRss];
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
    const MetricExplanation explanation =
        explained({1, 1, 2, 2, 9, 1, 2}, {1, 2, 1, 2, 1, 2}, 2, 3);
    ASSERT_EQ(explanation.frequentValues.size(), 2U);
    EXPECT_EQ(explanation.frequentValues[0].count, 3U);
}

TEST(Explanation, TheFindingTellsWhyThereIsNoEndpoint) {
    EXPECT_EQ(explained(Series(20, 9), {9}, 9, 0).finding, Finding::kSteadyFromStart);
    EXPECT_EQ(explained({}, {}, 0, 0).finding, Finding::kNoSamples);
    EXPECT_EQ(explained({10, 20, 30}, {10, 20, 30}, 500, 0).finding, Finding::kNeverNear);
    EXPECT_EQ(explained({10, 1000, 1000}, {1000}, 1000, 1).finding, Finding::kShortRun);
    EXPECT_EQ(explained({5, 5, 5}, {5}, 5, 1999).finding, Finding::kNeverNear) << "beyond its end";
    const Series risen{10, 20, 1000, 1000, 1009, 1000, 1000, 1011};
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).finding, Finding::kSettled);
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).samplesInRun, 5U) << "1011 is 1.1 % off";
}

TEST(Explanation, WhatAnUndecidedLaunchLacks) {
    EXPECT_EQ(explain(golden("python3").launch(3)).missing, Missing::kEvaluation);
    EXPECT_EQ(explain(golden("node").launch(2)).missing, Missing::kEndpoint);
    EXPECT_EQ(explain(golden("node").launch(1)).missing, Missing::kNothing);
    EXPECT_EQ(explain(launchOf({}, {}, 0, 0)).missing, Missing::kSamples);
    DumpedLaunch unstable = golden("python3-game").launch(1);
    unstable.evaluations.pop_back();
    EXPECT_EQ(explain(unstable).missing, Missing::kStableEvaluations);
}

TEST(Explanation, AnUnstableComparisonStartsTheCountAnew) {
    DumpedLaunch launch;
    for (const std::int32_t endpoint : {100, 105, 104, 200, 190}) {
        launch.evaluations.emplace_back();
        launch.evaluations.back().metrics[Metric::kVmRss].endpointIndex = endpoint;
    }
    std::vector<std::int32_t> inARow;
    for (const EvaluationExplanation& evaluation : explain(launch).evaluations) {
        if (!evaluation.comparisons) continue;
        inARow.push_back((*evaluation.comparisons)[Metric::kVmRss].stableInARow);
    }
    EXPECT_THAT(inARow, ElementsAre(1, 2, 0, 1));
}

TEST(Spread, OnlyALaunchFarFromTheRestIsFlagged) {
    const Spread spread = spreadOf({900, 960, 870, 2400, 840, 990});
    EXPECT_DOUBLE_EQ(spread.medianMs, 930);
    EXPECT_DOUBLE_EQ(spread.meanMs, 1160);
    EXPECT_DOUBLE_EQ(spread.smallestMs, 840);
    EXPECT_DOUBLE_EQ(spread.largestMs, 2400);
    EXPECT_THAT(spread.farFromRest, ElementsAre(3));
    EXPECT_DOUBLE_EQ(spreadOf({300}).medianMs, 300);
    const std::vector<double> noneFar[] = {
        {1000, 1300, 700, 1600, 400, 1100},  // a wide spread
        {300, 300, 300, 300, 350},           // the sampling's grain
        {3000, 3000, 3000, 3000, 3270},      // less than a tenth
        {300, 900, 300},                     // too few to judge
    };
    for (const std::vector<double>& endpointsMs : noneFar)
        EXPECT_THAT(spreadOf(endpointsMs).farFromRest, testing::IsEmpty()) << endpointsMs.back();
}

TEST(ExplanationReport, JsonHasNullForWhatWasNotMeasured) {
    const Dump dump = golden("node");
    json report = json::parse(renderJson({dump, dump.launch(2), std::nullopt}));
    EXPECT_EQ(report["schema_version"], 1);
    EXPECT_TRUE(report["launch"]["endpoint_ms"].is_null());
    EXPECT_EQ(report["launch"]["missing"], "endpoint");
    const json& metrics = report["launch"]["evaluations"][0]["metrics"];
    EXPECT_TRUE(metrics["fd_count"]["settled_value"].is_null());
    EXPECT_TRUE(metrics["fd_count"]["endpoint_ms"].is_null());
    EXPECT_EQ(metrics["vmrss_kb"]["settled_value"], 50680);
    EXPECT_EQ(metrics["vmrss_kb"]["frequent_values"][0]["count"], 100);
    EXPECT_TRUE(report["spread"]["stored_mean_ms"].is_null());

    report = json::parse(renderJson({dump, dump.launch(1), 955}));
    EXPECT_EQ(report["launch"]["endpoint_ms"], 870);
    EXPECT_EQ(report["launch"]["set_by"], json::array({"vmrss_kb"}));
    EXPECT_EQ(report["spread"]["stored_mean_ms"], 955);
}

TEST(ExplanationReport, TextNamesTheMetricTheRuleAndTheReason) {
    const Dump node = golden("node");
    EXPECT_THAT(renderText({node, node.launch(2), std::nullopt}),
                AllOf(HasSubstr("node, launch 2 of 2 (line 113): undecided"),
                      HasSubstr("50680 kB, the only frequent one"),
                      HasSubstr("within 1 % from the first sample on"),
                      HasSubstr("descriptors: no samples")));
    const Dump game = golden("python3-game");
    EXPECT_THAT(
        renderText({game, game.launch(1), 7500}),
        AllOf(HasSubstr("7470 ms, 33.7 % off"), HasSubstr("memory 2, OOM score 3, descriptors 2"),
              HasSubstr("is that of memory"), HasSubstr("as stored: 7500 ms")));
}

using ExplainVerb = HostTest;

TEST_F(ExplainVerb, TakesTheLastLaunchOrTheOneAskedFor) {
    EXPECT_EQ(host({"explain", goldenFile("python3")}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("launch 5 of 5"));
    EXPECT_EQ(host({"explain", goldenFile("python3"), "--launch", "3"}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("before the analysis"));
    EXPECT_EQ(host({"explain", goldenFile("python3"), "--launch", "6"}), 2);
    EXPECT_EQ(mOut, "");
}

}  // namespace
}  // namespace host
