// Why a launch ended where it did: the findings, and what explain prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/dump/dump_file.h"
#include "host/dump/explanation.h"
#include "host/dump/explanation_report.h"
#include "host/dump/spread.h"
#include "host/printable.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Dump golden(const std::string& package) {
    const std::string file = ORVO_TEST_DATA_DIR "/dumps/" + package + "_vmrss.csv";
    return readDump({file, package, false});
}

/// A launch of one evaluation, of its memory alone.
DumpedLaunch launchOf(const Series& memory, const std::vector<std::int32_t>& top,
                      std::int32_t settledValue, std::int32_t endpointIndex) {
    DumpedLaunch launch;
    launch.series[Metric::kVmRss] = memory;
    launch.evaluations.emplace_back();
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
    const MetricExplanation none = explained({100, 200, 100, 200, 5}, {100, 200}, 0, 0);
    EXPECT_EQ(none.rule, ValueRule::kNone);
    EXPECT_FALSE(none.settledValue);
    // A 0 before a value is not compared, so all are close.
    EXPECT_EQ(explained({100}, {0, 500}, 250, 0).rule, ValueRule::kMean);
}

TEST(Explanation, FrequentValuesAreCountedOnce) {
    const MetricExplanation explanation =
        explained({1, 1, 2, 2, 9, 1, 2}, {1, 2, 1, 2, 1, 2}, 2, 3);
    ASSERT_EQ(explanation.frequentValues.size(), 2U);
    EXPECT_EQ(explanation.frequentValues[0].value, 1);
    EXPECT_EQ(explanation.frequentValues[0].count, 3U);
}

TEST(Explanation, TheFindingTellsWhyThereIsNoEndpoint) {
    const Series steady(20, 1000);
    EXPECT_EQ(explained(steady, {1000}, 1000, 0).finding, Finding::kSteadyFromStart);
    EXPECT_EQ(explained({}, {}, 0, 0).finding, Finding::kNoSamples);
    EXPECT_EQ(explained({10, 20, 30}, {10, 20, 30}, 500, 0).finding, Finding::kNeverNear);
    const Series risen{10, 20, 1000, 1000, 1009, 1000, 1000, 1011};
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).finding, Finding::kSettled);
    EXPECT_EQ(explained(risen, {1000}, 1000, 2).samplesInRun, 5U) << "1011 is 1.1 % off";
    EXPECT_EQ(explained({10, 1000, 1000}, {1000}, 1000, 1).finding, Finding::kShortRun);
}

TEST(Explanation, AnEndpointBeyondItsSeriesIsHarmless) {
    EXPECT_EQ(explained({5, 5, 5}, {5}, 5, 1999).finding, Finding::kNeverNear);
}

TEST(Explanation, WhatAnUndecidedLaunchLacks) {
    EXPECT_EQ(explain(golden("python3").launch(3)).missing, Missing::kEvaluation);
    EXPECT_EQ(explain(golden("node").launch(2)).missing, Missing::kEndpoint);
    EXPECT_EQ(explain(golden("node").launch(1)).missing, Missing::kNothing);
    EXPECT_EQ(explain(launchOf({}, {}, 0, 0)).missing, Missing::kSamples);
    DumpedLaunch unstable = golden("python3-game").launch(1);
    unstable.evaluations.pop_back();
    unstable.outcome = DumpOutcome::kUnfinished;
    EXPECT_EQ(explain(unstable).missing, Missing::kStableEvaluations);
}

TEST(Explanation, TheLastMetricSetsTheLaunchsEndpoint) {
    EXPECT_THAT(explain(golden("python3").launch(1)).setBy, ElementsAre(Metric::kFdCount));
    EXPECT_THAT(explain(golden("node").launch(1)).setBy, ElementsAre(Metric::kVmRss));
    EXPECT_THAT(explain(golden("node").launch(2)).setBy, IsEmpty());
}

// Evaluation 2 finds memory 34 % and descriptors 100 % away from evaluation 1.
TEST(Explanation, ComparisonsOfALongLaunchCountWhatIsStable) {
    const LaunchExplanation explanation = explain(golden("python3-game").launch(1));
    ASSERT_EQ(explanation.evaluations.size(), 4U);
    EXPECT_FALSE(explanation.evaluations[0].comparisons);
    std::vector<std::int32_t> memory;
    std::vector<std::int32_t> score;
    for (std::size_t i = 1; i < 4; ++i) {
        memory.push_back((*explanation.evaluations[i].comparisons)[Metric::kVmRss].stableInARow);
        score.push_back((*explanation.evaluations[i].comparisons)[Metric::kOomScore].stableInARow);
    }
    EXPECT_THAT(memory, ElementsAre(0, 1, 2));
    EXPECT_THAT(score, ElementsAre(1, 2, 3));
    EXPECT_THAT(explanation.setBy, ElementsAre(Metric::kVmRss));
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

TEST(Spread, OneLaunchFarFromTheRestIsFlagged) {
    const Spread spread = spreadOf({900, 960, 870, 2400, 840, 990});
    EXPECT_DOUBLE_EQ(spread.medianMs, 930);
    EXPECT_DOUBLE_EQ(spread.meanMs, 1160);
    EXPECT_DOUBLE_EQ(spread.smallestMs, 840);
    EXPECT_DOUBLE_EQ(spread.largestMs, 2400);
    EXPECT_THAT(spread.farFromRest, ElementsAre(3));
}

TEST(Spread, WhatSpreadsWidelyHasNoLaunchFarOff) {
    EXPECT_THAT(spreadOf({1000, 1300, 700, 1600, 400, 1100}).farFromRest, IsEmpty());
}

TEST(Spread, TheSamplingsGrainIsNotFar) {
    EXPECT_THAT(spreadOf({300, 300, 300, 300, 330}).farFromRest, IsEmpty());
    EXPECT_THAT(spreadOf({3000, 3000, 3000, 3000, 3270}).farFromRest, IsEmpty());
    EXPECT_THAT(spreadOf({300, 900, 300}).farFromRest, IsEmpty()) << "too few to judge";
    EXPECT_DOUBLE_EQ(spreadOf({300}).medianMs, 300);
}

TEST(Printable, HostileTextBecomesOneValidLine) {
    EXPECT_EQ(printable("a\nb\x1b[1m\x7f"), "a?b?[1m?");
    EXPECT_EQ(printable("gr\xc3\xbc\xc3\x9f \xf0\x9f\x9a\x80"),
              "gr\xc3\xbc\xc3\x9f \xf0\x9f\x9a\x80");
    const std::string three(3, '?');
    EXPECT_EQ(printable("\xff(\xe2\x80\xae|\xed\xa0\x80)\xc0\xaf"),
              "?(" + three + "|" + three + ")\?\?");
    EXPECT_EQ(printable("\xc3"), "?");
    EXPECT_EQ(printable("abcdef", 3), "abc...");
    EXPECT_EQ(printable("ab\xc3\xbc", 3), "ab...") << "no character is cut in two";
}

TEST(ExplanationReport, JsonHasNullForWhatWasNotMeasured) {
    Dump dump = golden("node");
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
    EXPECT_EQ(report["spread"]["median_ms"], 870);

    report = json::parse(renderJson({dump, dump.launch(1), 955}));
    EXPECT_EQ(report["launch"]["endpoint_ms"], 870);
    EXPECT_EQ(report["launch"]["set_by"], json::array({"vmrss_kb"}));
    EXPECT_EQ(report["spread"]["stored_mean_ms"], 955);
}

TEST(ExplanationReport, TextNamesTheMetricTheRuleAndTheReason) {
    const Dump node = golden("node");
    const std::string text = renderText({node, node.launch(2), std::nullopt});
    EXPECT_THAT(text, HasSubstr("node, launch 2 of 2 (line 113): undecided"));
    EXPECT_THAT(text, HasSubstr("50680 kB, the only frequent one"));
    EXPECT_THAT(text, HasSubstr("within 1 % from the first sample on"));
    EXPECT_THAT(text, HasSubstr("descriptors: no samples"));
    const Dump game = golden("python3-game");
    EXPECT_THAT(renderText({game, game.launch(1), 7500}),
                testing::AllOf(HasSubstr("7470 ms, 33.7 % off"),
                               HasSubstr("memory 2, OOM score 3, descriptors 2"),
                               HasSubstr("is that of memory"), HasSubstr("as stored: 7500 ms")));
    const Dump python = golden("python3");
    EXPECT_THAT(renderText({python, python.launch(3), std::nullopt}),
                HasSubstr("before the analysis"));
}

TEST(ExplainVerb, TakesTheLastLaunchOrTheOneAskedFor) {
    const std::string file = ORVO_TEST_DATA_DIR "/dumps/python3_vmrss.csv";
    Program last({ORVO_HOST, "explain", file});
    EXPECT_EQ(last.wait(), 0);
    EXPECT_THAT(last.out(), HasSubstr("launch 5 of 5"));
    Program second({ORVO_HOST, "explain", file, "--launch", "2"});
    EXPECT_EQ(second.wait(), 0);
    EXPECT_THAT(second.out(), HasSubstr("launch 2 of 5"));
    Program beyond({ORVO_HOST, "explain", file, "--launch", "6"});
    EXPECT_EQ(beyond.wait(), 2);
    EXPECT_EQ(beyond.out(), "");
}

}  // namespace
}  // namespace host
