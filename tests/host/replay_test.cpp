// Recorded launches of real programs, through the library's analysis again.
#include "host/dump/replay.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

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
    const auto isEqualAfter = [](const auto& change) {
        DumpedLaunch launch = golden("python3").launch(1);
        change(launch.evaluations[0]);
        return replay(launch, {}).isEqual();
    };
    EXPECT_FALSE(isEqualAfter([](Evaluation& e) { ++e.metrics[Metric::kVmRss].endpointIndex; }));
    EXPECT_FALSE(isEqualAfter([](Evaluation& e) { ++e.metrics[Metric::kFdCount].settledValue; }));
    EXPECT_FALSE(isEqualAfter([](Evaluation& e) { e.finalIndex.reset(); }));
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

using ReplayVerb = HostTest;

TEST_F(ReplayVerb, SaysByItsCodeWhetherAllAreEqual) {
    EXPECT_EQ(host({"replay", goldenFile("python3"), "--json"}), 0);
    EXPECT_THAT(mOut, HasSubstr(R"(,"doubts":[],"second_opinion_ms":)"));
    EXPECT_THAT(mOut, HasSubstr(R"(],"replayed":4,"equal":4})"));

    std::string text = contentOf(goldenFile("java"));
    const std::string final = "Final : 73";
    text.replace(text.find(final), final.size(), "Final : 74");
    std::ofstream(mFolder / "java.csv") << text;
    EXPECT_EQ(host({"replay", mFolder / "java.csv"}), 1);
    EXPECT_THAT(mOut, HasSubstr("launch 1 (line 3): DIFFERS"));

    std::ofstream(mFolder / "none.csv") << "\nAborted Before analysis 0\n";
    EXPECT_EQ(host({"replay", mFolder / "none.csv"}), 1);
    EXPECT_THAT(mErr, HasSubstr("was evaluated"));
}

}  // namespace
}  // namespace host
