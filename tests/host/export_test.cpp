// Measurements handed on, and what is refused.
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/base/exit_code.h"
#include "host/results/results_file.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;

using ExportVerb = HostTest;

TEST_F(ExportVerb, TakesAResultsFileAndRefusesWhatItCannotBe) {
    const std::string results = mFolder / "r.json";
    Measurement measurement;
    measurement.name = "com.a";
    measurement.kind = {1, 1};
    measurement.machine.kernel = "Linux 6";
    measurement.launches.resize(1);
    measurement.launches.front().run = 1;
    measurement.launches.front().outcome = "exited early";
    std::ofstream(results) << renderResults({measurement, measurement});
    ASSERT_EQ(host({"export", results, "--format", "json"}), kDone) << mErr;
    const json told = json::parse(mOut)["recordings"];
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[1]["title"], "com.a, second command");
    EXPECT_EQ(told[1]["machine"]["kernel"], "Linux 6");
    EXPECT_EQ(told[1]["launches"][0]["unevaluated"], "exited early");
    EXPECT_EQ(host({"export", results, "--format", "xml"}), kUsage);
    EXPECT_EQ(host({"export", results, "--format", "csv", "--generation", "1"}), kUsage);
    const std::string none = mFolder / "none/x.csv";
    EXPECT_EQ(host({"export", results, "--format", "csv", "-o", none}), kEnvironment);
}

}  // namespace
}  // namespace host
