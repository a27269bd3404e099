// Recorded launches of real programs, through the library's analysis again.
#include "host/dump/replay.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/dump/dump_file.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;
using testing::HasSubstr;

std::string fileOf(const std::string& package) {
    return ORVO_TEST_DATA_DIR "/dumps/" + package + "_vmrss.csv";
}

Dump golden(const std::string& package) {
    return readDump({fileOf(package), package, false});
}

class GoldenDumps : public testing::TestWithParam<const char*> {};

// Goes red whenever the analysis comes to any other result than it once did.
TEST_P(GoldenDumps, ReplayComesToWhatWasRecorded) {
    const Dump dump = golden(GetParam());
    int replayed = 0;
    for (const DumpedLaunch& launch : dump.launches) {
        SCOPED_TRACE("launch " + std::to_string(launch.number));
        const LaunchReplay result = replay(launch, {launch.isLong() ? 2 : 1, 0});
        EXPECT_TRUE(result.isEqual());
        replayed += result.replayed.empty() ? 0 : 1;
    }
    EXPECT_GE(replayed, 1);
}

INSTANTIATE_TEST_SUITE_P(RealPrograms, GoldenDumps,
                         testing::Values("python3", "node", "java", "chromium", "python3-game"));

TEST(Replay, AnyChangedResultIsADifference) {
    const DumpedLaunch recorded = golden("python3").launch(1);
    ASSERT_TRUE(replay(recorded, {}).isEqual());
    for (const Metric metric : kMetrics) {
        DumpedLaunch launch = recorded;
        ++launch.evaluations[0].metrics[metric].endpointIndex;
        EXPECT_FALSE(replay(launch, {}).isEqual()) << traitsOf(metric).id << " endpoint";
        launch = recorded;
        ++launch.evaluations[0].metrics[metric].settledValue;
        EXPECT_FALSE(replay(launch, {}).isEqual()) << traitsOf(metric).id << " settled value";
    }
    DumpedLaunch launch = recorded;
    launch.evaluations[0].finalIndex.reset();
    EXPECT_FALSE(replay(launch, {}).isEqual()) << "final index";
    launch = recorded;
    launch.series[Metric::kFdCount][11] = 100;  // within the run that starts at 9
    EXPECT_FALSE(replay(launch, {}).isEqual()) << "samples";
}

// The subtype decides how many stable evaluations it takes.
TEST(Replay, TheSubtypeIsGuessedUnlessGiven) {
    DumpedLaunch game = golden("python3-game").launch(1);
    EXPECT_EQ(replay(game, {}).subtype, 0);
    const LaunchReplay other = replay(game, {2, 1});
    EXPECT_FALSE(other.isEqual());
    EXPECT_EQ(other.subtype, 1);
    EXPECT_FALSE(other.replayed.back().finalIndex) << "needs four of two metrics";

    game.evaluations.back().finalIndex.reset();
    EXPECT_TRUE(replay(game, {}).isEqual()) << "with a subtype above 0 it is undecided";
    EXPECT_EQ(replay(game, {}).subtype, 1);
}

TEST(Replay, ADecisionEndsTheLaunch) {
    DumpedLaunch game = golden("python3-game").launch(1);
    game.evaluations.push_back(game.evaluations.back());
    const LaunchReplay result = replay(game, {2, 0});
    EXPECT_EQ(result.recorded.size(), 5U);
    EXPECT_EQ(result.replayed.size(), 4U);
    EXPECT_FALSE(result.isEqual());
}

TEST(ReplayVerb, SaysByItsCodeWhetherAllAreEqual) {
    Program good({ORVO_HOST, "replay", fileOf("python3"), "--json"});
    EXPECT_EQ(good.wait(), 0);
    EXPECT_EQ(good.err(), "") << "the analysis logs, but not here";
    const json report = json::parse(good.out());
    EXPECT_EQ(report["equal"], 4);
    EXPECT_TRUE(report["launches"][2]["equal"].is_null()) << "the aborted one";
    EXPECT_EQ(report["launches"][0]["replayed"][0]["endpoint_indices"]["fd_count"], 9);

    const TempFolder folder;
    std::string text = contentOf(fileOf("java"));
    const std::string final = "Final : 73";
    text.replace(text.find(final), final.size(), "Final : 74");
    std::ofstream(folder / "java.csv") << text;
    Program differs({ORVO_HOST, "replay", folder / "java.csv"});
    EXPECT_EQ(differs.wait(), 1);
    EXPECT_THAT(differs.out(), testing::AllOf(HasSubstr("launch 1 (line 3): DIFFERS"),
                                              HasSubstr("recorded  endpoints 73, 0, 1"),
                                              HasSubstr("1 of 2 replayed")));

    std::ofstream(folder / "none.csv") << "\nAborted Before analysis 0\n";
    Program nothing({ORVO_HOST, "replay", folder / "none.csv"});
    EXPECT_EQ(nothing.wait(), 1);
    EXPECT_THAT(nothing.err(), HasSubstr("was evaluated"));
}

}  // namespace
}  // namespace host
