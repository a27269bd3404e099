// Measuring: what is decided between the launches, and what is told of them.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/measure/command_words.h"
#include "host/measure/kept_launch.h"
#include "host/measure/machine.h"
#include "host/measure/measure_report.h"
#include "tests/host/recorded_text.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(CommandWords, ArePartedAsAShellDoesAndNothingElseIsDone) {
    EXPECT_THAT(commandWords(R"( ./app  --x='a b' "c\"d\e"f\ g '' ~/*)", "A"),
                ElementsAre("./app", "--x=a b", R"(c"d\ef g)", "", "~/*"));
    EXPECT_THAT(commandWords(R"(sh -c 'exec a | b; echo $1')", "A"),
                ElementsAre("sh", "-c", "exec a | b; echo $1"));
    for (const char* const bad :
         {"", "  \n", "a 'b", "a \"b\\\"", "a\\", "a | b", "a;b", "a $HOME"})
        EXPECT_THAT([&] { commandWords(bad, "--against"); },
                    refuses(kUsage, testing::StartsWith("--against ")))
            << bad;
}

TEST(MeasurePlan, EndsWhenItIsStableOfAllCommandsOrCanNotBecomeIt) {
    const SettledTimes narrow{1000, 1001, 1002, 1003, 1004, 1005};
    const SettledTimes wide{900, 950, 1000, 1050, 1100, 1150};
    const MeasurePlan fixed{3, 0, std::nullopt, 100};
    EXPECT_EQ(endAfter(2, fixed, {narrow}), std::nullopt);
    EXPECT_EQ(endAfter(3, fixed, {{}}), MeasureEnd::kAllRuns);
    const MeasurePlan stable{6, 0, 2.0, 8};
    EXPECT_EQ(endAfter(5, stable, {narrow}), std::nullopt) << "not before --runs";
    EXPECT_EQ(endAfter(6, stable, {narrow, narrow}), MeasureEnd::kStable);
    EXPECT_EQ(endAfter(6, stable, {narrow, wide}), std::nullopt);
    EXPECT_EQ(endAfter(6, stable, {{1000, 1000}}), std::nullopt) << "there is no interval yet";
    EXPECT_EQ(endAfter(8, stable, {narrow, wide}), MeasureEnd::kMostRuns);
    EXPECT_EQ(endAfter(6, stable, {narrow, {}}), MeasureEnd::kNoEndpoint);
    expectRecorded("measured-so-far",
                   endText(MeasureEnd::kMostRuns, 8, stable, {wide}) + '\n' +
                       endText(MeasureEnd::kMostRuns, 1, stable, {{1000}}) + '\n' +
                       endText(MeasureEnd::kNoEndpoint, 1, stable, {narrow, {}}) + '\n');
}

TEST(MeasurePlan, StartsAreSpreadEvenlyOverThePeriodHoweverManyRunsThereAre) {
    for (const int runs : {10, 20, 37, 100}) {
        std::vector<int> inThird(3);
        for (int run = 1; run <= runs; ++run) {
            ASSERT_THAT(phaseMs(run), AllOf(testing::Ge(0), testing::Lt(30)));
            ++inThird[static_cast<std::size_t>(phaseMs(run) / 10)];
        }
        EXPECT_THAT(inThird, testing::Each(testing::AllOf(testing::Ge(runs / 3 - 2),
                                                          testing::Le(runs / 3 + 2))))
            << runs;
    }
}

MeasuredLaunch settled(std::int32_t ms) {
    MeasuredLaunch launch;
    launch.outcome = "stored";
    launch.endpointMs = ms - 200;
    launch.assessment.sinceStartMs = ms;
    return launch;
}

// The library's times count from its first look, and are none to stand beside.
TEST(KeptLaunch, AllThatIsToldOfItCountsFromTheStart) {
    MadeLaunch made;
    made.startedAtMs = 5000.4;
    made.result.outcome = LaunchOutcome::kStored;
    made.result.endpointMs = 70;
    made.result.assessment = {{275}, {{"late"}}, {40}, {15}};
    made.recorded.huntTimeMs = 10;
    made.recorded.sampledAtMs = {5215, 5245, 5275};
    made.recorded.series[Metric::kVmRss] = {100, 200, 200};
    SeenLaunch seen;
    seen.memoryKb = {100, 200, 200, 300};
    seen.seen = 3;
    made.result.judged.emplace(seen);
    const MeasuredLaunch kept = measuredLaunch(7, made);
    EXPECT_THAT(kept.sampledAtMs, ElementsAre(215, 245, 275));
    EXPECT_THAT(kept.lookAfterKb, ElementsAre(300));
    EXPECT_EQ(kept.assessment.secondOpinionMs, 40) << "the file has it as the history does";
    EXPECT_THAT(resultText(kept),
                AllOf(testing::StartsWith("275 ms after the start; doubted: "),
                      HasSubstr("second opinion 245 ms, within 15 ms"), Not(HasSubstr("70 ms"))));
}

TEST(Machine, IsToldByTheFirstLineOfAName) {
    const char* const text = "processor\t: 0\nmodel name\t: A: 3 GHz\nempty\t:\nmodel name : B";
    EXPECT_EQ(valueOf(text, "model name"), "A: 3 GHz");
    EXPECT_EQ(valueOf(text, "empty"), "");
    EXPECT_EQ(valueOf(text, "model"), "");
    const Machine machine = thisMachine();
    EXPECT_GT(machine.memoryKb, 1024);
}

Measurement measurementOf(const std::vector<MeasuredLaunch>& launches) {
    Measurement measurement;
    measurement.name = "com.a";
    measurement.launches = launches;
    for (std::size_t i = 0; i < launches.size(); ++i)
        measurement.launches[i].run = static_cast<std::int32_t>(i) + 1;
    return measurement;
}

std::string textOf(const Measurement& measurement) {
    return renderText(summaryOf(measurement));
}

TEST(MeasureReport, TellsWhatTheMedianRestsOnAndWhatToDo) {
    std::vector<MeasuredLaunch> launches{settled(1000), settled(1010), settled(1020)};
    std::string told = textOf(measurementOf(launches));
    for (std::int32_t ms = 1030; ms < 1150; ms += 10)
        launches.push_back(settled(ms));
    told += textOf(measurementOf(launches));
    std::reverse(launches.begin(), launches.end());
    launches.push_back(settled(3000));
    launches[1].assessment.doubts = {"growing"};
    launches[2].assessment.sinceStartMs.reset();
    launches[2].endpointMs.reset();
    launches[2].outcome = "exited early";
    told += textOf(measurementOf(launches));
    expectRecorded("measure", told + textOf(measurementOf({launches[2]})));
}

TEST(MeasureReport, ExitCodeTellsTheWorstOfIt) {
    MeasureReport report;
    report.results = {measurementOf({settled(1000)}), measurementOf({settled(1000)})};
    report.seen.resize(2);
    EXPECT_EQ(exitCodeOf(report, true), kDone);
    report.results[1].launches[0].assessment.doubts = {"growing"};
    EXPECT_EQ(exitCodeOf(report, false), kDone);
    EXPECT_EQ(exitCodeOf(report, true), kDoubted);
    report.prepare.times = 1;
    EXPECT_EQ(exitCodeOf(report, true), kNotLearned);
    report.prepare.times = 0;
    report.results[0].launches.clear();
    EXPECT_EQ(exitCodeOf(report, false), kNotLearned) << "of one of the two nothing is known";
    report.end = MeasureEnd::kInterrupted;
    EXPECT_EQ(exitCodeOf(report, false), kInterrupted);
    report.seen[0].launches.emplace_back().outcome = LaunchOutcome::kStoreFailed;
    EXPECT_EQ(exitCodeOf(report, false), kEnvironment);
}

}  // namespace
}  // namespace host
