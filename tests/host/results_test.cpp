// Results files: all that was measured comes back, and nothing else is taken.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/dump/measured_launch.h"
#include "host/results/results_file.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using nlohmann::json;
using testing::AllOf;
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
    const auto refusal = [](const std::string& text, const testing::Matcher<std::string>& why) {
        EXPECT_THAT([&] { parseResults(text, "r.json"); },
                    refuses(kUsage, AllOf(testing::StartsWith("r.json: "), why)))
            << text.substr(0, 80);
    };
    const auto changed = [&](const char* pointer, const json& value) {
        json results = whole;
        results[json::json_pointer(pointer)] = value;
        return results.dump();
    };
    const std::string text = whole.dump();
    refusal(text.substr(0, text.size() / 2), HasSubstr("cut off"));
    refusal(text.substr(0, text.rfind('}', text.size() - 3) + 1), HasSubstr("cut off"));
    refusal("", HasSubstr("cut off"));
    refusal("{}", HasSubstr("not a results file"));
    refusal(R"({"kind":"orvo measurements","schema_version":1})", HasSubstr("'measurements' is m"));
    refusal(changed("/kind", "other"), HasSubstr("not a results file"));
    refusal(changed("/schema_version", 2), HasSubstr("schema version 2, and this orvo-host reads"));
    refusal(changed("/measurements", json::array()), HasSubstr("neither one measurement nor two"));
    refusal(changed("/measurements/1/launch_type", 3), HasSubstr("second, launch type"));
    refusal(changed("/measurements/1/machine", 3), HasSubstr("second, 'host' is missing"));
    const char* const place = "second, launch 1: '";
    for (const json& value : {json(-1), json(1e300), json(4294967296), json(1.5), json("1")}) {
        refusal(changed("/measurements/1/launches/0/since_start_ms", value),
                AllOf(HasSubstr(place), HasSubstr("since_start_ms' is not a number")));
        refusal(changed("/measurements/1/launches/0/vmrss_kb/7", json::array({value})),
                AllOf(HasSubstr(place), HasSubstr("vmrss_kb' holds")));
    }
    refusal(changed("/measurements/1/launches/0/evaluations/0/0", 5000), HasSubstr("more samples"));
    refusal(changed("/measurements/1/launches/0/evaluations/1", json::array({1, 1, 0})),
            HasSubstr("fewer samples than before"));
    refusal(changed("/measurements/1/launches/0/sampled_since_start_ms/0", -1),
            HasSubstr("sampled_since_start_ms' holds"));
    refusal(changed("/measurements/1/launches/0/second_opinion_ms", 2147483647),
            HasSubstr("second_opinion_ms' is not a number"));
    refusal(changed("/measurements/1/launches/0/doubts", "late"),
            HasSubstr("'doubts' is not a list"));
    refusal(changed("/measurements/1/launches/0/oom_score", json(std::vector<int>(2001))),
            HasSubstr("more values than it may have"));
    std::string notANumber = text;
    notANumber.replace(text.find("1043"), 4, "NaN");
    refusal(notANumber, HasSubstr("is no JSON from byte"));
    notANumber.replace(notANumber.find("NaN"), 3, "1e999");
    refusal(notANumber, HasSubstr("too large"));
    EXPECT_THAT([] { readResults("/"); }, refuses(kEnvironment, HasSubstr("folder")));
    EXPECT_THAT([] { readResults("/none"); }, refuses(kEnvironment, HasSubstr("/none: No such")));
}

// What a dump records of a launch is worked out again from its series alone.
TEST(MeasuredLaunch, IsWhatItsDumpRecords) {
    for (const char* program : {"python3", "python3-game"}) {
        for (const DumpedLaunch& recorded : golden(program).launches) {
            const LaunchKind kind{recorded.isLong() ? 2 : 1, 0};
            const DumpedLaunch launch = dumpedLaunchOf(measured(recorded), kind, recorded.number);
            EXPECT_EQ(launch.outcome, recorded.outcome);
            EXPECT_EQ(launch.series.values, recorded.series.values);
            ASSERT_EQ(launch.evaluations.size(), recorded.evaluations.size());
            for (std::size_t i = 0; i < launch.evaluations.size(); ++i) {
                EXPECT_EQ(launch.evaluations[i].finalIndex, recorded.evaluations[i].finalIndex);
                for (const Metric metric : kMetrics) {
                    const MetricResult& result = launch.evaluations[i].metrics[metric];
                    const MetricResult& known = recorded.evaluations[i].metrics[metric];
                    EXPECT_EQ(result.topValues, known.topValues);
                    EXPECT_EQ(result.endpointIndex, known.endpointIndex);
                    EXPECT_EQ(result.settledValue, known.settledValue);
                }
            }
            ASSERT_EQ(launch.note.has_value(), !recorded.evaluations.empty());
            if (!launch.note) continue;
            EXPECT_EQ(launch.note->assessment.sinceStartMs, 1043);
            EXPECT_EQ(launch.note->firstSampleSinceStartMs, 232);
            EXPECT_EQ(launch.note->lastSampleSinceStartMs, 262);
            EXPECT_EQ(launch.note->windowSamples, launch.isLong() ? 2000U : 34U);
        }
    }
}

}  // namespace
}  // namespace host
