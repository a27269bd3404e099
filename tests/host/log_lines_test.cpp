// What the host reads out of the library's log lines.
#include <android/log.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <tuple>

#include "host/library/launch_record.h"
#include "host/library/log_line.h"
#include "host/library/series_recorder.h"

namespace host {
namespace {

constexpr int kDebug = ANDROID_LOG_DEBUG;
constexpr int kError = ANDROID_LOG_ERROR;
constexpr const char* kLearner = "TAVO-ORVO-LEARNER";
constexpr const char* kStore = "TAVO-ORVO-DB";

TEST(LogLineTest, FormatIsTakenApartAndOtherTextIsAllMessage) {
    const LogLine line = parseLogLine(kDebug, "T", "T: f() 12: a() 3: b\n");
    EXPECT_EQ(line.function, "f");
    EXPECT_EQ(line.message, "a() 3: b");
    for (const std::string text :
         {"T: ", "T: f()", "T: f() 12", "T: f() x: y", "T: f() 1x: y", "U: f() 1: y"})
        EXPECT_EQ(parseLogLine(kDebug, "T", text).message, text) << text;
}

// The table that the library's lines are checked against.
TEST(LogLineTest, EveryLineIsKeptFromItsGateOn) {
    std::ifstream file(ORVO_TEST_DATA_DIR "/log_lines.txt");
    int debugLines = 0;
    for (std::string text; std::getline(file, text);) {
        if (text[0] == '#') continue;
        std::istringstream fields(text);
        std::string tag, function, gate, number, reached, message;
        fields >> tag >> function >> gate >> number >> reached;
        std::getline(fields >> std::ws, message);
        const bool isError = gate == "-";
        const LogLine line{isError ? kError : kDebug, tag, function, message};
        const std::uint32_t level = isError ? 0 : static_cast<std::uint32_t>(gate.back() - '0');
        EXPECT_TRUE(isWantedAt(level, line)) << text;
        EXPECT_TRUE(isError || !isWantedAt(level - 1, line)) << text;
        debugLines += isError ? 0 : 1;
    }
    EXPECT_GT(debugLines, 40);
}

struct Line {
    int priority;
    const char* message;
    const char* tag = kLearner;
    const char* function = "statsCollector";
};

LaunchRecord recordOf(const std::vector<Line>& lines) {
    LaunchRecord record;
    for (const Line& line : lines)
        record.take({line.priority, line.tag, line.function, line.message});
    return record;
}

const Line kTaken{kDebug, "Start Learning appName:p"};
const Line kNoPid{kError, "Could not find pid, can not collect vmrss data"};
const Line kAbort{kDebug, "Abort Detected for p!"};

// The library's thread may say so when the launch is watched already.
TEST(LaunchRecordTest, IdlingBeforeTheLaunchIsNoEnd) {
    EXPECT_EQ(recordOf({{kDebug, "Waiting for Launch Event..."}}).phase(), LaunchPhase::kPending);
}

TEST(LaunchRecordTest, EndpointIsReadBehindAPackageNameThatLooksLikeOne) {
    const Line learned{kDebug, "Learned Launch Endpoint for a = 7 = 450"};
    EXPECT_EQ(recordOf({kTaken, learned}).endpointMs(), 450);
}

TEST(LaunchRecordTest, OutcomeComesFromTheLinesAndWhatTheHostKnows) {
    using Known = LaunchCircumstances;
    const Known interrupted{true, true};
    const Known gone{false, true};
    const Line learned{kDebug, "Learned Launch Endpoint for p = 450"};
    const Line undecided{kDebug, "Launch Endpoint could not determined for p"};
    const Line limit{kDebug, "Erased learning for p", "TAVO-ORVO", "setData"};
    const Line fault{kError, "exception std::bad_alloc"};
    const Line faultElsewhere{kError, "exception std::bad_alloc", kLearner, "insertVmRss"};
    const Line noSample{kError, "Failed to write sample for app p", kStore, "writeAppSample"};
    const Line noFinal{kError, "Failed to write endpoint for app p", kStore, "writeFinalEP"};
    const Line noMark{kError, "Failed to update status for app p", kStore, "writeFinalEP"};
    const Line noCount{kError, "Failed to update status for app p", kStore, "checkStatus"};
    const Line noRows{kError, "Failed to fetch samples for app p", kStore, "getAppSamples"};
    const std::tuple<std::vector<Line>, Known, LaunchOutcome> cases[] = {
        {{kTaken, learned, noSample}, Known{}, LaunchOutcome::kStoreFailed},
        {{kTaken, learned, noFinal}, Known{}, LaunchOutcome::kStoreFailed},
        {{kTaken, learned, noMark}, Known{}, LaunchOutcome::kStoreFailed},
        {{noCount, kTaken, learned}, Known{}, LaunchOutcome::kStored},
        {{kTaken, undecided, noRows}, Known{}, LaunchOutcome::kUndecided},
        {{kTaken, faultElsewhere, learned}, Known{}, LaunchOutcome::kStored},
        {{kTaken, undecided}, gone, LaunchOutcome::kUndecided},
        {{kTaken, kAbort}, Known{}, LaunchOutcome::kExitedEarly},
        {{kTaken, kAbort}, interrupted, LaunchOutcome::kInterrupted},
        {{kTaken, kNoPid}, Known{}, LaunchOutcome::kNotFound},
        {{kTaken, kNoPid}, gone, LaunchOutcome::kExitedEarly},
        {{kTaken, fault}, Known{}, LaunchOutcome::kLearningFailed},
        {{limit}, Known{}, LaunchOutcome::kLimitReached},
    };
    for (const auto& [lines, known, outcome] : cases) {
        EXPECT_STREQ(outcomeText(outcomeOf(recordOf(lines), known)), outcomeText(outcome))
            << lines.back().message;
    }
}

TEST(LaunchRecordTest, StoresFailuresAreToldApartWithTheLaunchsOwnCause) {
    const LaunchRecord record =
        recordOf({{kError, "earlier", "TAVO-DB"},
                  {kError, "Failed to update status for app p", kStore, "checkStatus"},
                  kTaken,
                  {kError, kNoPid.message, "TAVO-ORVO"},
                  {kError, "disk I/O error", "TAVO-DB", "judge"}});
    EXPECT_EQ(record.phase(), LaunchPhase::kHunting);
    EXPECT_TRUE(record.countFailed());
    EXPECT_FALSE(record.storeFailed());
    EXPECT_EQ(record.databaseError(), "disk I/O error");
}

// That it keeps all that the library samples is seen where both write a dump.
TEST(SeriesRecorderTest, WhatIsNoSampleAndWhatCameToNoResultIsLeftOut) {
    const auto launchOf = [](const std::vector<Line>& lines) {
        SeriesRecorder recorder;
        double nowMs = 0;
        for (const Line& line : lines)
            recorder.take({line.priority, line.tag, line.function, line.message}, ++nowMs);
        return recorder.launch();
    };
    const Line evaluation{kDebug, "vmRssBias=0, streak=5", kLearner, "churnForStablizingPoints"};
    const Line dumped{kError, "dump property not set, cancelling", kLearner, "exportToFile"};
    const Line memory{kDebug, "Process total rss = 70", kLearner, "getProcessVmRss"};
    const Line fds{kDebug, "FD info 1[0]", kLearner, "updatesFDCount"};
    const Line score{kDebug, "nread=0 OmmScore (0)", kLearner, "getProcessOMMScore"};
    const Line heard{kDebug, "FD info 1[7]", "TAVO-ORVO", "setData"};
    const Line found{kDebug, "actual pid = 42 TimeTakenToFind 200.500000 ms"};
    const Line cleared{kDebug, "cleared", kLearner, "clearAll"};
    const Line clearedElsewhere{kDebug, "cleared"};
    std::vector<Line> lines{memory, kTaken, fds, cleared, found, memory, score, heard};
    lines.insert(lines.end(), {fds, evaluation, dumped, memory, evaluation, clearedElsewhere});
    const RecordedLaunch launch = launchOf(lines);
    EXPECT_EQ(launch.series.values, (std::array<Series, 3>{Series{70, 70}, Series{}, Series{0}}));
    ASSERT_EQ(launch.evaluations.size(), 1U) << "an exception ended the other";
    EXPECT_EQ(launch.evaluations[0].values, (std::array<std::size_t, 3>{1, 0, 1}));
    EXPECT_THAT(launch.sampledAtMs, testing::ElementsAre(6, 12)) << "one for each sample of memory";
    EXPECT_EQ(launch.process, 42);
    EXPECT_EQ(launch.huntTimeMs, 200.5);
    lines.insert(lines.end(), {kAbort, kTaken, memory, dumped});
    EXPECT_TRUE(launchOf(lines).evaluations.empty());
    EXPECT_FALSE(launchOf(lines).isAborted);
    lines.insert(lines.end(), 2001, memory);
    EXPECT_EQ(launchOf(lines).series[Metric::kVmRss].size(), 2000U);
}

}  // namespace
}  // namespace host
