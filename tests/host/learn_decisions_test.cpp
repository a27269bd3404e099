// What learn decides, without a process: the name to follow, the process that
// grows, what is said of launches, the exit code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/learn/launch_maker.h"
#include "host/learn/learn_advice.h"
#include "host/learn/progress.h"
#include "host/learn/shown_name.h"
#include "host/learn/tree_growth.h"
#include "host/library/look_after.h"
#include "tests/host/recorded_text.h"

namespace host {
namespace {

using testing::ElementsAre;
using Tree = std::vector<ProcessLook>;

const std::vector<std::string> kUndoubted;
constexpr pid_t kHost = 1;
constexpr double kNever = 1e9;

struct Phase {
    double untilMs;
    Tree tree;
};

struct Decision {
    ShownName::Verdict verdict;
    std::string name;
    double atMs;
    std::vector<std::string> names;
};

Decision decide(const std::vector<Phase>& phases) {
    ShownName shown("my.app");
    double nowMs = 0;
    for (const Phase& phase : phases) {
        for (; nowMs < std::min(phase.untilMs, 5000.0); nowMs += 100) {
            shown.take(nowMs, phase.tree);
            if (shown.verdict() != ShownName::Verdict::kOpen)
                return {shown.verdict(), shown.name(), nowMs, shown.names()};
        }
    }
    return {shown.verdict(), shown.name(), nowMs, shown.names()};
}

TEST(ShownNameTest, NameOfTheTopmostProgramIsFollowedOnceItHolds) {
    const ProcessLook script{10, kHost, "/bin/sh", 200};
    const ProcessLook python{10, kHost, "python3", 9000};
    const ProcessLook child{11, 10, "python3", 9000};
    const ProcessLook helper{12, 10, "crash_handler", 90'000};
    const ProcessLook logger{13, 10, "tee", 100};
    const ProcessLook inner{11, 10, "/usr/bin/bash", 300};
    const ProcessLook below{14, 11, "java", 100};
    const struct {
        const char* what;
        std::vector<Phase> phases;
        const char* name;
        double atMs;
    } cases[] = {
        {"script that executes", {{200, {script}}, {kNever, {python}}}, "python3", 700},
        {"script that waits", {{100, {script}}, {kNever, {script, child}}}, "python3", 600},
        {"program with helpers", {{kNever, {python, helper}}}, "python3", 500},
        {"script in a script", {{kNever, {script, inner, below}}}, "java", 500},
        {"pipe", {{kNever, {script, child, logger}}}, "python3", 500},
        {"children of one name", {{kNever, {python, child}}}, "python3", 500},
        {"orphan", {{100, {script}}, {kNever, {{11, kHost, "app", 1}}}}, "app", 600},
        {"name given late", {{300, {python}}, {kNever, {{10, kHost, "srv", 1}}}}, "srv", 800},
        {"shell with work of its own", {{kNever, {script}}}, "/bin/sh", 1500},
    };
    for (const auto& [what, phases, name, atMs] : cases) {
        const Decision decision = decide(phases);
        EXPECT_EQ(decision.verdict, ShownName::Verdict::kOther) << what;
        EXPECT_EQ(decision.name, name) << what;
        EXPECT_EQ(decision.atMs, atMs) << what;
    }
}

TEST(ShownNameTest, NothingIsDecidedWhileTheWantedNameIsShownByAnyProcess) {
    const ProcessLook other{10, kHost, "python3", 9000};
    for (const Tree& tree :
         {Tree{{10, kHost, "my.app", 1}}, Tree{other, {11, 10, "my.app", 1}}, Tree{}})
        EXPECT_EQ(decide({{kNever, tree}}).verdict, ShownName::Verdict::kOpen);
}

TEST(ShownNameTest, WhereNoNameStandsOutTheNamesAreTold) {
    const ProcessLook shell{9, kHost, "sh", 1};
    const Decision two = decide({{kNever, {shell, {10, 9, "a", 50}, {11, 9, "b", 60}}}});
    EXPECT_EQ(two.verdict, ShownName::Verdict::kNone);
    EXPECT_EQ(two.atMs, 2000);
    EXPECT_THAT(two.names, ElementsAre("sh", "a", "b"));

    std::vector<Phase> changing;
    for (int i = 1; i < 30; ++i)
        changing.push_back({i * 100.0, {{10, kHost, std::to_string(i), 1}}});
    EXPECT_EQ(decide(changing).verdict, ShownName::Verdict::kNone);
    const std::string unfit(300, 'x');
    EXPECT_EQ(decide({{kNever, {{10, kHost, unfit, 1}}}}).verdict, ShownName::Verdict::kNone);
    // Their parents were read at different moments.
    EXPECT_EQ(decide({{kNever, {{10, 11, "/bin/sh", 1}, {11, 10, "/bin/sh", 1}}}}).verdict,
              ShownName::Verdict::kNone);
}

TEST(ProcessLookTest, StatusIsReadPastAHostileNameAndRefusedWithoutMemory) {
    const std::string text = "Name:\tPPid:\t7\\nPPid:\t8\nTgid:\t12\nPid:\t12\nPPid:\t34\n";
    const auto look = parseProcessStatus(text + "RssAnon:\t     100 kB\nVmSwap:\t 11 kB\n");
    ASSERT_TRUE(look);
    EXPECT_EQ(look->pid, 12);
    EXPECT_EQ(look->parent, 34);
    EXPECT_EQ(look->memoryKb, 111);
    for (const char* rest : {"", "RssAnon:\t1 kB\n", "RssAnon:\t1 kB\nVmSwap:", "VmSwap:\tx\n"})
        EXPECT_FALSE(parseProcessStatus(text + rest)) << rest;
}

// The looks of a launch's sampling: the sampled process is 10, its child 11.
struct Growth {
    const char* what;
    std::vector<Tree> looks;
    const char* other;  // that grew much more; empty for none
    bool hasChanged;
};

TEST(TreeGrowthTest, ProcessThatGrowsWhileTheSampledOneDoesNotIsFound) {
    const auto own = [](std::int64_t kb) { return ProcessLook{10, kHost, "app", kb}; };
    const auto child = [](std::int64_t kb) { return ProcessLook{11, 10, "c", kb}; };
    const auto fork = [](std::int64_t kb) { return ProcessLook{11, 10, "app", kb}; };
    const Growth cases[] = {
        {"was there", {{own(400), child(100)}, {own(400), child(9000)}}, "c", false},
        {"came", {{own(400)}, {own(400), child(9000)}}, "c", false},
        {"came and went", {{own(400)}, {own(400), child(9000)}, {own(400)}}, "c", false},
        {"rests", {{own(9000)}, {own(9000), fork(9000)}}, "", false},
        {"grows", {{own(9000)}, {own(9000), fork(8000)}, {own(9000), fork(30'000)}}, "app", false},
        {"settled before", {{own(400), child(9000)}, {own(400), child(9100)}}, "", false},
        {"both grow", {{own(400), child(100)}, {own(9000), child(20'000)}}, "", true},
        {"sampled one shrinks", {{own(9000)}, {own(400)}}, "", true},
        {"sampled one within the tolerance", {{own(9900)}, {own(10'000)}}, "", false},
        {"nothing was seen", {{}}, "", false},
    };
    for (const Growth& each : cases) {
        TreeGrowth growth;
        for (const Tree& look : each.looks)
            growth.take(look);
        const auto other = growth.otherThan(10);
        EXPECT_EQ(other ? other->name : "", each.other) << each.what;
        EXPECT_EQ(growth.hasChanged(10), each.hasChanged) << each.what;
    }
}

LaunchResult resultOf(LaunchOutcome outcome) {
    LaunchResult result;
    result.outcome = outcome;
    if (outcome == LaunchOutcome::kStored) result.endpointMs = 300;
    return result;
}

// Undecided: it rested while it was sampled and, if it does, grew behind that.
LaunchResult restingResult(bool goesOn) {
    RecordedLaunch recorded;
    recorded.sampleBudget = 34;
    recorded.series[Metric::kVmRss].assign(34, 20'000);
    LaunchResult result = resultOf(LaunchOutcome::kUndecided);
    result.judged.emplace(seenOf(recorded, Series(34, goesOn ? 20'300 : 20'100)));
    return result;
}

// Stored at sample 10 while its memory went on to sample 50.
LaunchResult doubtedResult() {
    RecordedLaunch recorded;
    recorded.sampleBudget = 34;
    recorded.finalIndex = 10;
    recorded.memoryEndpoints = {10};
    for (int i = 0; i < 34; ++i) {
        recorded.series[Metric::kVmRss].push_back(20'000 + 1000 * std::max(0, i - 20));
        recorded.sampledAtMs.push_back(5000.4 + 31 * i);
    }
    Series after;
    for (int i = 34; i < 68; ++i)
        after.push_back(20'000 + 1000 * std::min(30, i - 20));
    LaunchResult result = resultOf(LaunchOutcome::kStored);
    result.judged.emplace(seenOf(recorded, after));
    result.assessment = assessmentOf(*result.judged, 7);
    result.assessment.sinceStartMs = sinceStartMs(recorded, 4800);
    return result;
}

TEST(LearnReportTest, ALaunchTellsItsTimeSinceTheStartItsDoubtsAndTheSecondOpinion) {
    LearnReport report;
    report.package = "p";
    report.finalEndpointMs = 300;
    report.launches = {doubtedResult()};
    report.inheritance = inheritedFrom({report.launches[0].assessment, {400, kUndoubted, {}, {}}});
    expectRecorded("learned", renderResult(report.launches[0]) + '\n' + renderText(report));
    EXPECT_EQ(exitCodeOf(report, false, true), kDoubted);
    EXPECT_EQ(exitCodeOf(report, false, false), kDone);
}

TEST(ProbedMemoryTest, OfThoseThatShowTheNameTheFirstIsFoundWithWhatItHadFromTheFirstLookOn) {
    ProbedMemory memory;
    memory.take(150, {{10, kHost, "app", 500}});
    EXPECT_FALSE(memory.processOf("app")) << "before the library looks";
    memory.take(210, {{10, kHost, "sh", 100}, {12, 10, "app", 2000}, {11, 10, "app", 1000}});
    EXPECT_EQ(memory.processOf("app"), 11);
    memory.take(240, {{10, kHost, "app", 900}, {11, 10, "app", 1100}});
    memory.take(300, {{10, kHost, "app", 900}, {11, 10, "app", 1300}});
    EXPECT_THAT(memory.memoryOf(11), ElementsAre(1000, 1100, 1200, 1300));
    EXPECT_EQ(memory.firstMs(11), 210);
    EXPECT_EQ(memory.processOf("app"), 10) << "another program by now";
    EXPECT_EQ(memory.firstMs(10), 240);
}

TEST(ProbeSightTest, TheLineSaysWhatWasSeenAndWhatIsDone) {
    const auto sightOf = [](Window window, std::optional<std::size_t> settledAt, std::size_t seen) {
        ProbeSight sight;
        sight.choice.window = window;
        sight.choice.opinion.settledAt = settledAt;
        sight.choice.seen = seen;
        sight.firstMs = 210;
        return sight;
    };
    std::string told = textOf(sightOf(Window::kExtended, 77, 160)) + '\n' +
                       textOf(sightOf(Window::kShort, 0, 200)) + '\n';
    ProbeSight sight = sightOf(Window::kLong, {}, 2000);
    told += textOf(sight) + '\n' + jsonOf(sight).dump() + '\n';
    sight.choice.opinion.driftsFrom = 40;
    told += textOf(sight) + '\n';
    sight = sightOf(Window::kShort, {}, 10);
    sight.hasEnded = true;
    expectRecorded("probing", told + textOf(sight) + '\n');
}

TEST(LaunchMakerTest, HuntForWhatCannotComeAnyMoreIsStopped) {
    constexpr LaunchPhase kHunting = LaunchPhase::kHunting;
    EXPECT_FALSE(mustStop({kHunting, 59'000, false, false, false}));
    EXPECT_TRUE(mustStop({kHunting, 0, true, false, true}));
    EXPECT_TRUE(mustStop({kHunting, 0, false, true, false}));
    EXPECT_FALSE(mustStop({kHunting, 0, false, true, true})) << "it may come yet";
    EXPECT_FALSE(mustStop({LaunchPhase::kSampling, 299'000, true, true, false}));
    EXPECT_TRUE(mustStop({LaunchPhase::kSampling, 301'000, false, false, true}));
}

TEST(ProgressTest, BarStaysInItsBoundsWhenALaunchTakesLonger) {
    LaunchRecord record;
    record.take({3, "TAVO-ORVO-LEARNER", "statsCollector", "Decided Samples = 34. Starting"});
    EXPECT_EQ(barText("t", record, 9000), "t [########################] sampling 9.0 s");
    EXPECT_EQ(barText("t", record, 510), "t [############------------] sampling 0.5 s");
}

TEST(LookAfterTest, LooksFillAValueAPeriodBehindTheLastSample) {
    Series memory;
    addLook(memory, 1000, 31, 1100);
    addLook(memory, 1000, 44, 9999);  // its period has a value
    addLook(memory, 1000, 148, 1500);
    EXPECT_THAT(memory, ElementsAre(1100, 1200, 1300, 1400, 1500));
    addLook(memory, 1000, -5, 7);
    EXPECT_EQ(memory.size(), 5U);
}

class AdviceTest : public testing::Test {
protected:
    AdviceTest() {
        mReport.package = "p";
        mReport.followed = "p";
        mReport.launchesAsked = 2;
    }

    /// Gathers what is told of these launches.
    void advise(const std::vector<LaunchResult>& launches) {
        mReport.launches = launches;
        for (const std::string& line : adviceOn(mReport, mContext))
            mTold += line + '\n';
        mTold += "--\n";
    }

    std::string mTold;
    LearnReport mReport;
    AdviceContext mContext{"orvo-host erase p", "the.log", "command.log"};
};

TEST_F(AdviceTest, EachCauseIsToldOnceAndOnlyWhereItHolds) {
    const LaunchResult stored = resultOf(LaunchOutcome::kStored);
    LaunchResult early = resultOf(LaunchOutcome::kExitedEarly);
    const LaunchResult followedLeft = early;
    early.commandEnded = true;
    const LaunchResult quick = resultOf(LaunchOutcome::kUndecided);
    LaunchResult restless = quick;
    restless.changedWhileSampled = true;
    LaunchResult childGrew = quick;
    childGrew.otherGrew = GrownProcess{"python3", 38'000};
    LaunchResult forkGrew = quick;
    forkGrew.otherGrew = GrownProcess{"p", 38'000};
    LaunchResult storedButChildGrew = stored;
    storedButChildGrew.otherGrew = childGrew.otherGrew;
    LaunchResult uncounted = stored;
    uncounted.countFailed = true;
    LaunchResult full = resultOf(LaunchOutcome::kStoreFailed);
    full.countFailed = true;
    uncounted.storeFault = full.storeFault = "it is full; free it";

    const std::vector<LaunchResult> cases[] = {
        {stored, stored},
        {early, early},
        {followedLeft},
        {quick, stored},
        {restingResult(false), restingResult(true)},
        {restless, restless},
        {childGrew},
        {forkGrew},
        {storedButChildGrew},
        {doubtedResult(), stored},
        {uncounted},
        {full},
        {resultOf(LaunchOutcome::kLimitReached)},
        {resultOf(LaunchOutcome::kLearningFailed)},
        {resultOf(LaunchOutcome::kInterrupted)},
        {early, quick, restless, childGrew},
    };
    for (const std::vector<LaunchResult>& launches : cases)
        advise(launches);
    expectRecorded("advice", mTold);
}

TEST_F(AdviceTest, NamesKindAndWhatWasLearnedBeforeAreTakenIntoAccount) {
    const LaunchResult notFound = resultOf(LaunchOutcome::kNotFound);
    const LaunchResult stored = resultOf(LaunchOutcome::kStored);
    LaunchResult restless = resultOf(LaunchOutcome::kUndecided);
    restless.changedWhileSampled = true;
    mReport.namesShown = {"a", "b"};
    advise({notFound});
    mReport.followedWasSeen = true;
    advise({notFound});
    mReport.kind = LaunchKind{1, 2};
    advise({restless});
    mReport.kindBefore = LaunchKind{1, 0};
    advise({stored});
    mReport.kindBefore = LaunchKind{1, 1};
    advise({stored});
    mReport.kindBefore.reset();
    mReport.followed = "sleep";
    advise({restless});
    mReport.kind = LaunchKind{2, 0};
    advise({restless});
    advise({restingResult(true)});
    mReport.finalEndpointMs = 300;
    advise({});
    advise({stored});
    expectRecorded("advice-before", mTold);
}

TEST_F(AdviceTest, ExitCodeTellsWhetherWhatWasAskedForIsReached) {
    const LaunchResult stored = resultOf(LaunchOutcome::kStored);
    const LaunchResult undecided = resultOf(LaunchOutcome::kUndecided);
    const auto codeOf = [&](const std::vector<LaunchResult>& launches, bool interrupted = false) {
        mReport.launches = launches;
        return exitCodeOf(mReport, interrupted, false);
    };
    EXPECT_EQ(codeOf({stored, stored}), kDone);
    EXPECT_EQ(codeOf({stored, undecided}), kNotLearned);
    EXPECT_EQ(codeOf({stored}), kNotLearned);
    EXPECT_EQ(codeOf({stored}, true), kInterrupted);
    EXPECT_EQ(codeOf({stored, resultOf(LaunchOutcome::kStoreFailed)}), kEnvironment);
    mReport.finalEndpointMs = 300;
    EXPECT_EQ(codeOf({}), kDone);
    EXPECT_EQ(codeOf({undecided}, true), kDone);
}

}  // namespace
}  // namespace host
