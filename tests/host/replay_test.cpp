// Recorded launches of real programs, through the library's analysis again.
#include "host/dump/replay.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// Goes red whenever the analysis comes to any other result than it once did.
TEST(Replay, GoldenDumpsComeToWhatWasRecorded) {
    for (const char* program : {"python3", "node", "java", "chromium", "python3-game"}) {
        int replayed = 0;
        for (const DumpedLaunch& launch : golden(program).launches) {
            const LaunchReplay result = replay(launch, {launch.isLong() ? 2 : 1, 0});
            EXPECT_TRUE(result.isEqual()) << program << " launch " << launch.number;
            replayed += result.replayed.empty() ? 0 : 1;
        }
        EXPECT_GE(replayed, 1) << program;
    }
}

TEST(Replay, AnyChangedResultIsADifference) {
    const DumpedLaunch recorded = golden("python3").launch(1);
    DumpedLaunch launch = recorded;
    const auto expectDifference = [&](const char* what) {
        EXPECT_FALSE(replay(launch, {}).isEqual()) << what;
        launch = recorded;
    };
    for (const Metric metric : kMetrics) {
        ++launch.evaluations[0].metrics[metric].endpointIndex;
        expectDifference(traitsOf(metric).id);
        ++launch.evaluations[0].metrics[metric].settledValue;
        expectDifference(traitsOf(metric).id);
    }
    launch.evaluations[0].finalIndex.reset();
    expectDifference("final index");
    launch.series[Metric::kFdCount][11] = 100;  // within the run that starts at 9
    expectDifference("samples");
}

// It decides how many stable evaluations it takes.
TEST(Replay, TheSubtypeIsGuessedUnlessGiven) {
    DumpedLaunch game = golden("python3-game").launch(1);
    EXPECT_EQ(replay(game, {}).subtype, 0);
    EXPECT_FALSE(replay(game, {2, 1}).isEqual()) << "needs four of two metrics";
    game.evaluations.back().finalIndex.reset();
    EXPECT_TRUE(replay(game, {}).isEqual()) << "with a subtype above 0 it is undecided";
    EXPECT_EQ(replay(game, {}).subtype, 1);
}

TEST(Replay, ADecisionEndsTheLaunch) {
    DumpedLaunch game = golden("python3-game").launch(1);
    game.evaluations.push_back(game.evaluations.back());
    const LaunchReplay result = replay(game, {2, 0});
    EXPECT_EQ(result.replayed.size(), 4U);
    EXPECT_FALSE(result.isEqual());
}

using ReplayVerb = HostTest;

TEST_F(ReplayVerb, SaysByItsCodeWhetherAllAreEqual) {
    EXPECT_EQ(host({"replay", goldenFile("python3"), "--json"}), 0);
    EXPECT_EQ(mErr, "") << "the analysis logs, but not here";
    const json report = json::parse(mOut);
    EXPECT_EQ(report["equal"], 4);
    EXPECT_TRUE(report["launches"][2]["equal"].is_null()) << "the aborted one";

    std::string text = contentOf(goldenFile("java"));
    const std::string final = "Final : 73";
    text.replace(text.find(final), final.size(), "Final : 74");
    std::ofstream(mFolder / "java.csv") << text;
    EXPECT_EQ(host({"replay", mFolder / "java.csv"}), 1);
    EXPECT_THAT(mOut, testing::AllOf(HasSubstr("launch 1 (line 3): DIFFERS"),
                                     HasSubstr("recorded  endpoints 73, 0, 1"),
                                     HasSubstr("1 of 2 replayed")));

    std::ofstream(mFolder / "none.csv") << "\nAborted Before analysis 0\n";
    EXPECT_EQ(host({"replay", mFolder / "none.csv"}), 1);
    EXPECT_THAT(mErr, HasSubstr("was evaluated"));
}

}  // namespace
}  // namespace host
