// The learning store on a scripted database: every call, every failure.
#include <climits>
#include <gmock/gmock.h>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Strings = std::vector<std::string>;
using Rows = std::vector<std::vector<std::int32_t>>;

constexpr std::int32_t kLearned = 1;  // AppStatus's first word on a little-endian machine

std::int32_t failed() {
    return -1;
}

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        framework().reset();
        mStore.Init();
        framework().takeCalls();
    }
    ~StoreTest() override { mStore.DeInit(); }

    LogCapture mLog{4};
    OrvoDBlayer mStore;
    std::string mApp = "a";
    std::string mNoName;
};

struct OpenCase {
    const char* failingOpen;
    std::int32_t failure;
    const char* reportedTable;
    Strings calls;
};

TEST_F(StoreTest, FailedOpenClosesWhatWasOpenedAndNamesTheTableThatReadersKnow) {
    const OpenCase cases[] = {
        {"open OrvoStatus", -1, "OrvoLearning", {"open OrvoStatus"}},
        {"open OrvoLearning",
         1,
         "OrvoLearning",
         {"open OrvoStatus", "open OrvoLearning", "close OrvoStatus"}},
        {"open OrvoEP",
         7,
         "OrvoEP",
         {"open OrvoStatus", "open OrvoLearning", "open OrvoEP", "close OrvoStatus",
          "close OrvoLearning"}},
    };
    for (const OpenCase& c : cases) {
        SCOPED_TRACE(c.failingOpen);
        framework().reset();
        framework().faults[c.failingOpen] = [&] { return c.failure; };
        mLog.clear();
        OrvoDBlayer store;
        EXPECT_EQ(store.Init(), -1);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_THAT(OrvoDBlayerPeer::handles(store), ElementsAre(0, 0, 0));
        EXPECT_THAT(mLog.texts(), ElementsAre(std::string("Could not open DB:") + c.reportedTable));
    }
    // The status table's failure leaves the other handles alone.
    const std::vector<std::uint32_t> before = OrvoDBlayerPeer::handles(mStore);
    framework().faults = {{"open OrvoStatus", failed}};
    EXPECT_EQ(mStore.Init(), -1);
    EXPECT_THAT(OrvoDBlayerPeer::handles(mStore), ElementsAre(0, before[1], before[2]));
}

TEST_F(StoreTest, CloseGoesInReverseEmptiesTheCacheAndMayBeRepeated) {
    mStore.writeFinalEP(mApp, 412);
    framework().takeCalls();
    mStore.DeInit();
    mStore.DeInit();
    EXPECT_THAT(framework().takeCalls(),
                ElementsAre("close OrvoEP", "close OrvoLearning", "close OrvoStatus", "close ?",
                            "close ?", "close ?"));
    EXPECT_THAT(OrvoDBlayerPeer::handles(mStore), ElementsAre(0, 0, 0));
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // neither cached nor readable
    EXPECT_EQ(mStore.Init(), 0);
    EXPECT_EQ(mStore.getFinalEP(mApp), 412);
}

TEST_F(StoreTest, EmptyNameTouchesNothing) {
    bool learned = true;
    bool relearn = true;
    std::vector<std::int32_t> samples = {1};
    EXPECT_EQ(mStore.checkStatus(mNoName, true, learned, relearn), -1);
    EXPECT_TRUE(learned && relearn);
    mStore.writeAppSample(mNoName, 1);
    EXPECT_EQ(mStore.getAppSamples(mNoName, samples), 0U);
    mStore.deleteAppSamples(mNoName);
    mStore.writeFinalEP(mNoName, 1);
    EXPECT_EQ(mStore.getFinalEP(mNoName), -1);
    EXPECT_EQ(mStore.eraseLearning(mNoName), -1);
    EXPECT_THAT(framework().takeCalls(), ElementsAre());
    EXPECT_THAT(mLog.texts(), ElementsAre());
}

struct StatusCase {
    Rows row;        // the stored status, if any
    bool isCounted;  // the countLaunch argument
    bool learned, relearn;
    Strings calls;
    Rows rowAfter;
    Strings log;
};

TEST_F(StoreTest, LaunchesAreCountedUpToTheRelearnLimit) {
    const Strings read = {"query OrvoStatus a 8"};
    const StatusCase cases[] = {
        {{}, false, false, false, read, {}, {}},
        {{{kLearned, 7}}, false, true, false, read, {{kLearned, 7}}, {}},
        {{{kLearned, 499}}, false, true, false, read, {{kLearned, 499}}, {}},
        {{},
         true,
         false,
         false,
         {read[0], "insert OrvoStatus a 8 0 1"},
         {{0, 1}},
         {"Setting launchCount for a (not learned) to 1"}},
        {{{kLearned, 1}},
         true,
         true,
         false,
         {read[0], "update OrvoStatus a 8 1 2"},
         {{kLearned, 2}},
         {"Setting launchCount for a (learned) to 2"}},
        {{{0, 498}},
         true,
         false,
         false,
         {read[0], "update OrvoStatus a 8 0 499"},
         {{0, 499}},
         {"Setting launchCount for a (not learned) to 499"}},
        {{{kLearned, 499}}, true, false, true, read, {{kLearned, 499}}, {}},
        {{{0, 500}},
         true,
         false,
         false,
         {read[0], "update OrvoStatus a 8 0 501"},
         {{0, 501}},
         {"Setting launchCount for a (not learned) to 501"}},
        {{{0, INT_MAX}},
         true,
         false,
         false,
         {read[0], "update OrvoStatus a 8 0 -2147483648"},
         {{0, INT_MIN}},
         {"Setting launchCount for a (not learned) to -2147483648"}},
    };
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.row) + (c.isCounted ? " counted" : ""));
        framework().tables.clear();
        for (const auto& words : c.row)
            framework().addRow("OrvoStatus", mApp, words);
        mLog.clear();
        bool learned = false;
        bool relearn = false;
        EXPECT_EQ(mStore.checkStatus(mApp, c.isCounted, learned, relearn), 0);
        EXPECT_EQ(learned, c.learned);
        EXPECT_EQ(relearn, c.relearn);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_EQ(framework().rowsOf("OrvoStatus", mApp), c.rowAfter);
        EXPECT_EQ(mLog.texts(), c.log);
    }
}

TEST_F(StoreTest, FailedStatusCallsAreReportedOrTakenAsNoRow) {
    framework().addRow("OrvoStatus", mApp, {kLearned, 499});
    bool learned = true;
    bool relearn = false;
    framework().faults["query OrvoStatus"] = failed;  // any result but 0 means no row
    EXPECT_EQ(mStore.checkStatus(mApp, false, learned, relearn), 0);
    EXPECT_TRUE(learned);  // left as it was
    EXPECT_EQ(mStore.checkStatus(mApp, true, learned, relearn), 0);
    EXPECT_FALSE(learned || relearn);
    framework().faults = {{"update OrvoStatus", failed}};
    framework().tables.clear();
    framework().addRow("OrvoStatus", mApp, {0, 3});
    mLog.clear();
    EXPECT_EQ(mStore.checkStatus(mApp, true, learned, relearn), -1);
    EXPECT_THAT(mLog.texts(), ElementsAre("Setting launchCount for a (not learned) to 4",
                                          "Failed to update status for app a"));
}

TEST_F(StoreTest, SamplesAreAddedReadInOrderAndDeleted) {
    mStore.writeAppSample(mApp, 30);
    mStore.writeAppSample(mApp, 20);
    std::vector<std::int32_t> samples = {1, 2, 3};
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 5U);
    EXPECT_THAT(samples, ElementsAre(1, 2, 3, 30, 20));
    mStore.deleteAppSamples(mApp);
    samples.clear();
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 0U);
    EXPECT_THAT(framework().takeCalls(),
                ElementsAre("insert OrvoLearning a 4 30", "insert OrvoLearning a 4 20",
                            "queryAll OrvoLearning a 4", "delete OrvoLearning a 0",
                            "queryAll OrvoLearning a 4"));
    framework().faults = {{"insert OrvoLearning", failed},
                          {"delete OrvoLearning", failed},
                          {"queryAll OrvoLearning", failed}};
    mStore.writeAppSample(mApp, 10);
    mStore.deleteAppSamples(mApp);
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 0U);
    EXPECT_THAT(
        mLog.texts(),
        ElementsAre("written app a sample endpoint 30", "written app a sample endpoint 20",
                    "deleted app a samples successfully", "Failed to fetch samples for app a",
                    "Failed to write sample for app a", "Failed to delete samples for app a",
                    "Failed to fetch samples for app a"));
}

struct FinalCase {
    const char* fault;
    std::int32_t result;
    Rows statusAfter;
    std::int32_t endpointAfter;
    Strings calls;
    Strings log;
};

TEST_F(StoreTest, FinalEndpointIsCachedOnceItsRowIsWrittenAndMarkedLearnedAfterThat) {
    const std::string insert = "insert OrvoEP a 4 412";
    const std::string query = "query OrvoStatus a 8";
    const std::string update = "update OrvoStatus a 8 1 9";
    const std::string wrote = "Wrote endpoint for a as 412";
    const std::string marked = "State update for a: isLearned=1, launchCount=";
    const std::string notMarked = "Failed to update status for app a";
    const FinalCase cases[] = {
        {"", 0, {{kLearned, 9}}, 412, {insert, query, update}, {wrote, marked + "9"}},
        {"insert OrvoEP", -1, {{0, 9}}, -1, {insert}, {"Failed to write endpoint for app a"}},
        {"query OrvoStatus", -1, {{0, 9}}, 412, {insert, query}, {wrote, notMarked}},
        {"query OrvoStatus",
         1,
         {{kLearned, 0}},
         412,
         {insert, query, "update OrvoStatus a 8 1 0"},
         {wrote, marked + "0"}},
        {"update OrvoStatus",
         -1,
         {{0, 9}},
         412,
         {insert, query, update},
         {wrote, marked + "9", notMarked}},
    };
    for (const FinalCase& c : cases) {
        SCOPED_TRACE(std::string(c.fault) + " " + std::to_string(c.result));
        mStore.eraseLearning(mApp);
        framework().addRow("OrvoStatus", mApp, {0, 9});
        framework().faults = {{c.fault, [&] { return c.result; }}};
        framework().takeCalls();
        mLog.clear();
        mStore.writeFinalEP(mApp, 412);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_EQ(framework().rowsOf("OrvoStatus", mApp), c.statusAfter);
        EXPECT_EQ(mLog.texts(), c.log);
        framework().faults = {{"queryAll OrvoEP", failed}};
        EXPECT_EQ(mStore.getFinalEP(mApp), c.endpointAfter);  // from the cache, or not at all
        framework().faults.clear();
    }
}

TEST_F(StoreTest, FinalEndpointIsReadFromTheTableWhenThereIsExactlyOneRow) {
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    framework().addRow("OrvoEP", mApp, {77});
    EXPECT_EQ(mStore.getFinalEP(mApp), 77);
    framework().tables["OrvoEP"].clear();
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // what was read is not cached
    framework().addRow("OrvoEP", mApp, {77});
    framework().addRow("OrvoEP", mApp, {78});
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    EXPECT_THAT(mLog.texts(), ElementsAre());
}

TEST_F(StoreTest, EraseForgetsEverythingWhateverFails) {
    framework().faults = {{"delete OrvoStatus", failed}, {"delete OrvoLearning", failed}};
    mStore.writeFinalEP(mApp, 412);
    framework().takeCalls();
    mLog.clear();
    EXPECT_EQ(mStore.eraseLearning(mApp), 0);
    EXPECT_THAT(
        framework().takeCalls(),
        ElementsAre("delete OrvoStatus a 0", "delete OrvoLearning a 0", "delete OrvoEP a 0"));
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    EXPECT_THAT(mLog.texts(), ElementsAre());
}

}  // namespace
