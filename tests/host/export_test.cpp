// Launches handed on: times that are known and that are not, what stopped, hostile names.
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "host/export/launch_export.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

const Recording kRecording(DumpSource{"/x/com.a|*b*_vmrss.csv", "com.a|*b*", false});

std::string exported(const std::string& format, const std::vector<const DumpedLaunch*>& launches) {
    const auto result = exportAs(format);
    std::string text = result->start() + result->startRecording(kRecording);
    for (const DumpedLaunch* const launch : launches)
        text += result->add(*launch);
    return text + result->endRecording() + result->end();
}

// Samples every 40 ms from 200 ms after the start on, and one behind the window.
DumpedLaunch noted() {
    DumpedLaunch launch;
    launch.number = 3;
    launch.outcome = DumpOutcome::kDecided;
    launch.series[Metric::kVmRss] = {10, 20, 30};
    launch.series[Metric::kFdCount] = {7};
    launch.evaluations.resize(1);
    launch.evaluations[0].metrics[Metric::kVmRss] = {3, {30}, 30, 2};
    launch.evaluations[0].finalIndex = 2;
    launch.note.emplace();
    launch.note->samples = launch.note->windowSamples = 3;
    launch.note->firstSampleSinceStartMs = 200;
    launch.note->lastSampleSinceStartMs = 280;
    launch.note->lookAfterKb = {31};
    launch.note->endpointMs = 75;  // the library took 15 ms to find the process
    launch.note->assessment.sinceStartMs = 280;
    return launch;
}

DumpedLaunch aborted() {
    DumpedLaunch launch;
    launch.number = 4;
    launch.outcome = DumpOutcome::kAborted;
    return launch;
}

TEST(Export, ATimeThatIsNotKnownIsEmptyAndNeverCountsFromElsewhere) {
    DumpedLaunch launch = noted();
    EXPECT_EQ(exported("csv", {&launch}),
              "recording,launch,sample,since_start_ms,metric,value\n"
              "1,3,0,200,vmrss_kb,10\n1,3,1,240,vmrss_kb,20\n1,3,2,280,vmrss_kb,30\n"
              "1,3,0,,fd_count,7\n1,3,3,310,look_after_kb,31\n");
    launch.sampledAtMs = {200, 239, 280};  // of a measured one the times are exact
    EXPECT_THAT(exported("csv", {&launch}), HasSubstr("1,3,1,239,vmrss_kb,20\n"));
    launch.note->firstSampleSinceStartMs.reset();
    EXPECT_THAT(exported("csv", {&launch}),
                AllOf(HasSubstr("1,3,2,,vmrss_kb,30\n"), HasSubstr("1,3,3,,look_after_kb,31\n")));
    const json told = json::parse(exported("json", {&launch}))["recordings"][0]["launches"][0];
    EXPECT_EQ(told["memory_since_start_ms"], nullptr);
    EXPECT_EQ(told["endpoint_ms"], 60);
    EXPECT_EQ(told["stored_endpoint_ms"], 75);
}

// "name ts" of the slices and marks of a launch.
std::vector<std::string> happenings(const json& trace, int process) {
    std::vector<std::string> result;
    for (const json& event : trace["traceEvents"]) {
        const bool isOne = event["ph"] == "X" || event["ph"] == "i";
        if (isOne && event["pid"] == process)
            result.push_back(event["name"].get<std::string>() + ' ' + event["ts"].dump());
    }
    return result;
}

TEST(Export, ATraceMarksWhatHappenedAndNothingThatDidNot) {
    const DumpedLaunch launch = noted();
    const DumpedLaunch stopped = aborted();
    const json trace = json::parse(exported("trace", {&launch, &stopped}));
    EXPECT_THAT(
        happenings(trace, 1),
        ElementsAre("launch 1", "first look 185001", "sampled by the library 200001",
                    "seen behind that 280001", "evaluation 1 280001", "window's end 280001"));
    EXPECT_THAT(happenings(trace, 2), ElementsAre());
    const json twice = json::parse(exported("trace", {&launch, &launch}))["traceEvents"];
    std::map<json, std::set<json>> launchesOf;
    for (const json& event : twice)
        launchesOf[event.at("tid")].insert(event["pid"]);
    EXPECT_EQ(launchesOf.size(), 4U);
    for (const auto& [thread, launches] : launchesOf)
        EXPECT_EQ(launches.size(), 1U) << "thread " << thread << " is of one launch";
    DumpedLaunch bare = launch;
    bare.note.reset();
    EXPECT_THAT(happenings(json::parse(exported("trace", {&bare})), 1),
                ElementsAre("launch, from the first sample 1", "sampled by the library 1",
                            "evaluation 1 60001", "the library's last sample 60001"));
    EXPECT_EQ(json::parse(exported("trace", {}))["traceEvents"], json::array());
}

TEST(Export, ATableToPasteStaysOneWhateverTheNamesHold) {
    const DumpedLaunch launch = noted();
    DumpedLaunch stopped = aborted();
    stopped.unevaluated = "exited | early";
    EXPECT_THAT(exported("markdown", {&launch, &stopped}),
                AllOf(HasSubstr("**com.a\\|\\*b\\***"), HasSubstr("| 3 | 60 ms | 280 ms |"),
                      HasSubstr("| 4 | exited \\| early | - | - | - |"),
                      HasSubstr("2 launches, 1 settled")));
}

class ExportVerbTest : public HostTest {};

Results twoMeasurements() {
    const DumpedLaunch dumped = golden("java").launch(2);
    Measurement measurement;
    measurement.name = "com.a";
    measurement.kind = {1, 1};
    measurement.machine.kernel = "Linux 6";
    measurement.launches.resize(2);
    MeasuredLaunch& settled = measurement.launches.front();
    settled.series = dumped.series;
    settled.evaluations.push_back({{dumped.samples(), dumped.samples(), 0}});
    settled.assessment.sinceStartMs = 1900;
    measurement.launches.back().outcome = "exited early";
    settled.run = measurement.launches.back().run = 1;
    return {measurement, measurement};
}

TEST_F(ExportVerbTest, TakesAResultsFileAndRefusesWhatItCannotBe) {
    const std::string results = mFolder / "r.json";
    std::ofstream(results) << renderResults(twoMeasurements());
    ASSERT_EQ(host({"export", results, "--format", "json"}), kDone) << mErr;
    const json told = json::parse(mOut)["recordings"];
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[1]["title"], "com.a, second command");
    EXPECT_EQ(told[1]["machine"]["kernel"], "Linux 6");
    EXPECT_EQ(told[1]["launches"][0]["endpoint_ms"], 1350);
    EXPECT_EQ(told[1]["launches"][0]["since_start_ms"], 1900);
    EXPECT_EQ(told[1]["launches"][1]["unevaluated"], "exited early");
    EXPECT_EQ(host({"export", results, "--format", "xml"}), kUsage);
    EXPECT_EQ(host({"export", results, "--format", "csv", "--generation", "1"}), kUsage);
    const std::string none = mFolder / "none/x.csv";
    EXPECT_EQ(host({"export", results, "--format", "csv", "-o", none}), kEnvironment);
}

}  // namespace
}  // namespace host
