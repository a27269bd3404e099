// Two measurements beside each other: what is said of them, and how the verb exits.
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/compare/comparison_picture.h"
#include "host/compare/comparison_report.h"
#include "host/compare/median_series.h"
#include "host/results/results_file.h"
#include "tests/host/program.h"
#include "tests/host/recorded_text.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using Times = std::vector<std::int32_t>;

Measurement measured(const Times& settledMs) {
    Measurement measurement;
    measurement.name = "com.a";
    measurement.command = {"app", "--x"};
    measurement.kind = {1, 1};
    measurement.machine = {"h", "x86_64", "p", 2, 1 << 22, "Linux 6", "1.0.0, default"};
    for (const std::int32_t timeMs : settledMs) {
        MeasuredLaunch launch;
        launch.run = static_cast<std::int32_t>(measurement.launches.size()) + 1;
        launch.outcome = "stored";
        launch.endpointMs = timeMs;
        launch.assessment.sinceStartMs = timeMs;
        measurement.launches.push_back(launch);
    }
    return measurement;
}

Finding findingOf(const Times& older, const Times& newer) {
    return compare(measured(older), measured(newer)).finding;
}

const Times kSix{900, 905, 910, 915, 920, 925};
const Times kSixSlower{990, 995, 1000, 1005, 1010, 1015};

TEST(Comparison, IsNoDifferenceUnlessTheIntervalAndTheRankTestAgree) {
    EXPECT_EQ(findingOf(kSix, kSixSlower), Finding::kSlower);
    EXPECT_EQ(findingOf(kSixSlower, kSix), Finding::kFaster);
    EXPECT_EQ(findingOf(kSix, kSix), Finding::kNoDifferenceSeen);
    const Comparison byInterval =
        compare(measured({104, 104, 103, 100, 100, 100}), measured({107, 109, 111, 103, 104, 103}));
    EXPECT_GT(byInterval.intervalMs->low, 0);
    EXPECT_EQ(byInterval.finding, Finding::kNoDifferenceSeen) << *byInterval.p;
    const Comparison byRanks =
        compare(measured({108, 107, 108, 100, 104, 100}), measured({108, 103, 110, 109, 110, 111}));
    EXPECT_LT(*byRanks.p, 0.05);
    EXPECT_EQ(byRanks.finding, Finding::kNoDifferenceSeen);
}

TEST(Comparison, OfTooFewRunsHasNoIntervalAndOfNoneIsRefused) {
    const Measurement older = measured(kSix);
    const Measurement five = measured({2000, 2010, 2020, 2030, 2040});
    const Comparison few = compare(older, five);
    EXPECT_EQ(few.finding, Finding::kTooFewRuns);
    EXPECT_EQ(few.intervalPercent, std::nullopt);
    EXPECT_FALSE(few.isSlowerBy(0));
    EXPECT_EQ(jsonOf(few)["difference_interval_ms"], nullptr);
    EXPECT_THAT([&] { compare(older, measured({})); },
                refuses(kNotLearned, HasSubstr("newer measurement, of com.a, has no launches")));
    Measurement dead = measured({0, 0, 0});
    for (MeasuredLaunch& launch : dead.launches) {
        launch.endpointMs = launch.assessment.sinceStartMs = std::nullopt;
        launch.outcome = "exited early";
    }
    EXPECT_THAT([&] { compare(dead, older); }, refuses(kNotLearned, HasSubstr("3 exited early")));
}

TEST(Comparison, PercentsAreOfTheOlderMedianAndTheGateIsBeyondThem) {
    const Measurement older = measured(Times(10, 1000));
    const Measurement newer = measured(Times(10, 1100));
    const Comparison slower = compare(older, newer);
    EXPECT_DOUBLE_EQ(*slower.differencePercent, 10);
    EXPECT_FALSE(slower.isSlowerBy(10));
    EXPECT_TRUE(slower.isSlowerBy(9.999));
    EXPECT_FALSE(compare(newer, older).isSlowerBy(0));
    EXPECT_DOUBLE_EQ(*slower.smallestSeenPercent, 0.1) << "no value is finer than 1 ms";
    const Comparison fromNothing = compare(measured(Times(10, 0)), newer);
    EXPECT_EQ(fromNothing.differencePercent, std::nullopt);
    EXPECT_EQ(fromNothing.finding, Finding::kSlower);
    EXPECT_FALSE(fromNothing.isSlowerBy(0));
}

// Doubted endpoints that do not move with the command leave it to the second opinion.
TEST(Comparison, ByTheSecondOpinionIsToldWhereEndpointsAreDoubted) {
    Measurement older = measured(Times(6, 1000));
    Measurement newer = older;
    for (Measurement* const each : {&older, &newer}) {
        for (MeasuredLaunch& launch : each->launches) {
            launch.huntTimeMs = 210;
            launch.sampledAtMs = {215, 246, 276, 306};
            launch.assessment.secondOpinionMs = each == &older ? 269 : 270 + 30 * 2;
        }
    }
    newer.launches[3].assessment.secondOpinionMs = std::nullopt;
    newer.launches.push_back(newer.launches[0]);
    EXPECT_EQ(older.launches[0].opinionMs(), 276);
    EXPECT_EQ(newer.launches[0].opinionMs(), 336) << "behind the samples";
    EXPECT_THAT(renderText(compare(older, newer)), Not(HasSubstr("second opinion")));
    older.launches[0].assessment.doubts = {{"noisy"}};
    newer.launches[3].assessment.doubts.emplace();
    const Comparison byOpinion = compare(older, newer, TimeBy::kOpinion);
    expectRecorded("compare-doubted", renderText(compare(older, newer)) + renderText(byOpinion));
    const Json object = jsonOf(byOpinion);
    EXPECT_EQ(object["verdict"], "slower");
    EXPECT_EQ(object["other"]["by"], "endpoint");
    EXPECT_EQ(object["other"]["verdict"], "no difference seen");
}

TEST(Comparison, WarnsOfAllThatIsNotTheBuild) {
    Measurement older = measured({900, 905, 910, 915, 920, 925, 930, 935, 940, 945});
    Measurement newer = measured({900, 901, 902, 900, 901, 902, 900, 3000, 900, 901});
    std::string told = renderText(compare(older, newer));
    newer.name = "com.b";
    newer.kind = {2, 0};
    newer.machine = {"i", "x86_64", "p", 2, (1 << 22) + 5, "", "1.0.1, default"};
    newer.launches[7].assessment.sinceStartMs = newer.launches[7].endpointMs = std::nullopt;
    newer.launches[7].outcome = "undecided";
    newer.launches[8].assessment.sinceStartMs = std::nullopt;
    told += renderText(compare(older, newer));
    older.kind = {2, 1};
    expectRecorded("compare-warned", told + renderText(compare(older, newer)));
}

TEST(ComparisonReport, SaysItInOneSentenceAndNamesDoubtedLaunches) {
    Measurement older = measured(kSix);
    older.name = "com.a\x1b[2J";
    older.launches[2].assessment.doubts = {{"at_rest", "noisy"}};
    const Measurement newer = measured(kSixSlower);
    const Comparison slower = compare(older, newer);
    expectRecorded("compare", renderText(slower) + renderText(compare(newer, older)) +
                                  renderText(compare(older, older)));
    const Json object = jsonOf(slower);
    EXPECT_EQ(object["verdict"], "slower");
    EXPECT_EQ(object["old"]["doubted"][0]["run"], 3);
    EXPECT_EQ(object["new"]["launches_compared"], 6);
}

TEST(ComparisonPicture, TheMedianSeriesIsOfAsManyAsAreStillSampled) {
    Measurement measurement = measured({900, 900, 900});
    const auto sampled = [&](std::size_t launch, Series memoryKb, Times atMs) {
        measurement.launches[launch].series[Metric::kVmRss] = std::move(memoryKb);
        measurement.launches[launch].sampledAtMs = std::move(atMs);
    };
    sampled(0, {10, 20, 30}, {31, 59, 90});
    sampled(1, {100, 200}, {60, 2'000'000'000});
    const auto points = medianMemory(measurement);
    ASSERT_FALSE(points.empty());
    EXPECT_EQ(points[0].sinceStartMs, 60) << "at 30 ms nothing was sampled yet";
    EXPECT_EQ(points[0].memoryKb, 60);
    EXPECT_EQ(points[1].memoryKb, 65);
    EXPECT_EQ(points[2].memoryKb, 100) << "the other has ended";
    EXPECT_EQ(points.back().sinceStartMs, 3999 * 30) << "whatever the file says";
    EXPECT_TRUE(medianMemory(measured({900})).empty());
}

TEST(ComparisonPicture, ShowsTheDoubtedApartAndQuotesWhatComesFromOutside) {
    Measurement older = measured(Times(20, 900));
    older.launches[0].assessment.doubts = {{"noisy"}};
    Measurement newer = measured(kSixSlower);
    newer.name = "com.`x`'";
    const Comparison comparison = compare(older, newer);
    ComparisonPicture picture;
    picture.format = PictureFormat::kSvg;
    expectRecorded("compare-picture", comparisonScript(comparison, picture).script);
    picture.format = PictureFormat::kText;
    picture.columns = kFewestColumns;
    picture.isAscii = true;
    const PlotScript text = comparisonScript(comparison, picture);
    expectRecorded("compare-text", text.above + text.script + text.below);
}

class CompareVerb : public HostTest {
protected:
    std::string written(const std::string& name, const Results& results) const {
        std::ofstream(mFolder / name) << renderResults(results);
        return mFolder / name;
    }
};

TEST_F(CompareVerb, TheExitCodeIsTheGates) {
    Measurement doubted = measured(kSixSlower);
    doubted.launches[0].assessment.doubts = {{"noisy"}};
    const std::string both =
        written("both.json", {measured(Times(6, 1000)), measured(Times(6, 1100))});
    const std::string old = written("old.json", {measured(kSix)});
    const std::string slower = written("new.json", {doubted});
    const std::string few = written("few.json", {measured({900})});
    EXPECT_EQ(host({"compare", both, "--fail-if-slower", "10"}), 0) << mErr;
    EXPECT_EQ(host({"compare", both, "--fail-if-slower", "9.9", "--strict"}), 5) << mErr;
    EXPECT_EQ(host({"compare", both, "--fail-if-slower", "9.9", "--by", "opinion"}), 1)
        << "these launches have none";
    EXPECT_EQ(host({"compare", old, slower, "--fail-if-slower", "1", "--strict"}), 4);
    EXPECT_THAT(mOut, HasSubstr("doubted in the new, compared all the same: run 1 (noisy)"));
    EXPECT_EQ(host({"compare", old, few}), 0);
    EXPECT_EQ(host({"compare", old, few, "--fail-if-slower", "1"}), 1) << "it cannot tell";
    EXPECT_EQ(host({"compare", old, both}), 2);
    EXPECT_EQ(host({"compare", old}), 2);
    EXPECT_THAT(mErr, HasSubstr("holds one measurement"));
    EXPECT_EQ(host({"compare", both, "--fail-if-slower", "nan"}), 2);
}

TEST_F(CompareVerb, ThePictureIsExtraUnlessItIsAskedFor) {
    const std::string both = written("both.json", {measured(kSix), measured(kSixSlower)});
    EXPECT_EQ(host({"compare", both, "-o", mFolder / "a.svg", "--json"}), 0) << mErr;
    EXPECT_EQ(json::parse(mOut)["verdict"], "slower");
    EXPECT_THAT(contentOf(mFolder / "a.svg"), HasSubstr("slower by 90 ms"));
    EXPECT_EQ(host({"compare", both}, {"PATH=/nowhere"}), 0);
    EXPECT_THAT(mOut, HasSubstr("slower by 90 ms"));
    EXPECT_THAT(mErr, HasSubstr("no picture: gnuplot is not installed"));
    EXPECT_EQ(host({"compare", both, "-o", mFolder / "b.svg"}, {"PATH=/nowhere"}), 3);
    EXPECT_EQ(host({"compare", both, "-o", mFolder / "b.pdf"}), 2);
    EXPECT_EQ(mOut, "");
}

}  // namespace
}  // namespace host
