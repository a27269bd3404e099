// Measurements handed on, and what is refused.
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/results/results_file.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;

using ExportVerb = HostTest;

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

TEST_F(ExportVerb, TakesAResultsFileAndRefusesWhatItCannotBe) {
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
