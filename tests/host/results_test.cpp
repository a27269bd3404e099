// Results files: all that was measured comes back, and nothing else is taken.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/dump/measured_launch.h"
#include "host/results/results_file.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/recorded_text.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using nlohmann::json;
using testing::HasSubstr;

MeasuredLaunch measured(const DumpedLaunch& dumped) {
    MeasuredLaunch launch;
    launch.run = static_cast<std::int32_t>(dumped.number);
    launch.launchedAtUnixMs = 1'795'000'000'000;
    launch.outcome = "stored";
    launch.endpointMs = 901;
    launch.huntTimeMs = 211;
    launch.assessment = {1043, {{"growing", "noisy"}}, 690, 31};
    launch.series = dumped.series;
    if (dumped.hasSamples()) launch.sampledAtMs = {232, 262};
    launch.isAborted = dumped.outcome == DumpOutcome::kAborted;
    launch.finalIndex = dumped.finalIndex();
    launch.lookAfterKb = {5, 6, 7};
    for (const Evaluation& evaluation : dumped.evaluations) {
        launch.evaluations.emplace_back();
        for (const Metric metric : kMetrics)
            launch.evaluations.back()[metric] = evaluation.metrics[metric].samples;
    }
    return launch;
}

Results resultsOf(const std::vector<DumpedLaunch>& launches, const LaunchKind& kind) {
    Measurement measurement;
    measurement.name = "com.a";
    measurement.command = {"a", "b c", "\"\n"};
    measurement.kind = kind;
    measurement.machine = {"h", "x86_64", "p", 2, 1 << 24, "Linux 6", "1.0.0, default"};
    for (const DumpedLaunch& launch : launches)
        measurement.launches.push_back(measured(launch));
    return {measurement, measurement};
}

// The text holds every member, so that what is not read back shows in it.
TEST(ResultsFile, AllThatWasMeasuredComesBack) {
    Results results = resultsOf(golden("python3").launches, {1, 2});
    results[1].launches.front() = MeasuredLaunch();
    results[1].launches.front().run = 1;
    const std::string text = renderResults(results);
    const Results read = parseResults(text, "f");
    EXPECT_EQ(renderResults(read), text);
    const MeasuredLaunch& launch = read.at(0).launches.front();
    EXPECT_EQ(launch.settledMs(), 1043);
    EXPECT_TRUE(launch.isDoubted());
    EXPECT_EQ(read[1].launches.front().assessment.doubts, std::nullopt);
    EXPECT_EQ(json::parse(text)["measurements"][0]["summary"]["median_ms"], 1043);
}

TEST(ResultsFile, WhatCannotBeIsRefusedWithItsPlace) {
    const json whole = json::parse(renderResults(resultsOf(golden("python3").launches, {1, 2})));
    std::string told;
    const auto refuse = [&](const std::string& text) {
        try {
            parseResults(text, "r.json");
            told += "taken\n";
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), kUsage);
            told += std::string(error.what()) + '\n';
        }
    };
    const auto changed = [&](const char* pointer, const json& value) {
        json results = whole;
        results[json::json_pointer(pointer)] = value;
        return results.dump();
    };
    const std::string text = whole.dump();
    for (const std::string& bad :
         {text.substr(0, text.size() / 2), text.substr(0, text.rfind('}', text.size() - 3) + 1),
          std::string(), std::string("{}"),
          std::string(R"({"kind":"orvo measurements","schema_version":1})")})
        refuse(bad);
    refuse(changed("/kind", "other"));
    refuse(changed("/schema_version", 2));
    refuse(changed("/measurements", json::array()));
    refuse(changed("/measurements/1/launch_type", 3));
    refuse(changed("/measurements/1/machine", 3));
    for (const json& value : {json(-1), json(1e300), json(4294967296), json(1.5), json("1")}) {
        refuse(changed("/measurements/1/launches/0/since_start_ms", value));
        refuse(changed("/measurements/1/launches/0/vmrss_kb/7", json::array({value})));
    }
    refuse(changed("/measurements/1/launches/0/evaluations/0/0", 5000));
    refuse(changed("/measurements/1/launches/0/evaluations/1", json::array({1, 1, 0})));
    refuse(changed("/measurements/1/launches/0/sampled_since_start_ms/0", -1));
    refuse(changed("/measurements/1/launches/0/second_opinion_ms", 2147483647));
    refuse(changed("/measurements/1/launches/0/doubts", "late"));
    refuse(changed("/measurements/1/launches/0/oom_score", json(std::vector<int>(2001))));
    std::string notANumber = text;
    refuse(notANumber.replace(text.find("1043"), 4, "NaN"));
    refuse(notANumber.replace(notANumber.find("NaN"), 3, "1e999"));
    expectRecorded("results-refused", told);
    EXPECT_THAT([] { readResults("/"); }, refuses(kEnvironment, HasSubstr("folder")));
    EXPECT_THAT([] { readResults("/none"); }, refuses(kEnvironment, HasSubstr("/none: No such")));
}

// What a dump records of a launch is worked out again from its series alone.
TEST(MeasuredLaunch, IsWhatItsDumpRecords) {
    for (const char* program : {"python3", "python3-game"}) {
        for (const DumpedLaunch& recorded : golden(program).launches) {
            const LaunchKind kind{recorded.isLong() ? 2 : 1, 0};
            DumpedLaunch launch = dumpedLaunchOf(measured(recorded), kind, recorded.number);
            EXPECT_EQ(launch.outcome, recorded.outcome);
            EXPECT_EQ(launch.series.values, recorded.series.values);
            const std::optional<LaunchNote> note = std::exchange(launch.note, std::nullopt);
            launch.unevaluated.clear();  // nor does a dump tell that
            EXPECT_EQ(explanationText(launch), explanationText(recorded));
            ASSERT_EQ(note.has_value(), !recorded.evaluations.empty());
            if (!note) continue;
            EXPECT_EQ(note->assessment.sinceStartMs, 1043);
            EXPECT_EQ(note->firstSampleSinceStartMs, 232);
            EXPECT_EQ(note->lastSampleSinceStartMs, 262);
            EXPECT_EQ(note->windowSamples, launch.isLong() ? 2000U : 34U);
        }
    }
}

}  // namespace
}  // namespace host
