// What the host reads out of the library's log lines.
#include <android/log.h>
#include <gtest/gtest.h>
#include <tuple>

#include "host/library/launch_record.h"
#include "host/library/log_line.h"

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

TEST(LogLineTest, LinesBelowTheAskedLevelAreKeptBack) {
    EXPECT_TRUE(isWantedAt(0, {kError, "TAVO-ORVO", "f", "Unsupported op!"}));
    EXPECT_TRUE(isWantedAt(2, {kDebug, kLearner, "f", "Start Learning appName:a"}));
    EXPECT_FALSE(isWantedAt(2, {kDebug, kLearner, "f", "Decided Samples = 34."}));
    EXPECT_TRUE(isWantedAt(3, {kDebug, kLearner, "f", "Decided Samples = 34."}));
    EXPECT_FALSE(isWantedAt(3, {kDebug, kLearner, "f", "Process total rss = 5"}));
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
                  {kError, "disk I/O error", "TAVO-DB", "judge"}});
    EXPECT_TRUE(record.countFailed());
    EXPECT_FALSE(record.storeFailed());
    EXPECT_EQ(record.databaseError(), "disk I/O error");
}

}  // namespace
}  // namespace host
