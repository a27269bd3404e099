// The learning store on a scripted database: every call, every failure.
#include <climits>
#include <gmock/gmock.h>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::ElementsAre;
using Rows = std::vector<ScriptedFramework::Words>;

constexpr char kRead[] = "query OrvoStatus a 8";

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        framework().reset();
        mStore.Init();
        framework().takeCalls();
    }
    ~StoreTest() override { mStore.DeInit(); }

    static void failing(const std::vector<const char*>& calls, std::int32_t result = -1) {
        framework().faults.clear();
        for (const char* call : calls)
            framework().faults[call] = [result] { return result; };
    }

    LogCapture mLog{4};
    OrvoDBlayer mStore;
    std::string mApp = "a";
};

TEST_F(StoreTest, FailedOpenClosesWhatWasOpenedAndNamesTheTableThatReadersKnow) {
    struct {
        const char* open;
        std::int32_t failure;
        const char* reported;
        const char* calls;
    } const cases[] = {
        {"open OrvoStatus", -1, "OrvoLearning", "open OrvoStatus"},
        {"open OrvoLearning", 1, "OrvoLearning",
         "open OrvoStatus; open OrvoLearning; close OrvoStatus"},
        {"open OrvoEP", 7, "OrvoEP",
         "open OrvoStatus; open OrvoLearning; open OrvoEP; close OrvoStatus; close OrvoLearning"},
    };
    for (const auto& c : cases) {
        failing({c.open}, c.failure);
        OrvoDBlayer store;
        EXPECT_EQ(store.Init(), -1);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_THAT(OrvoDBlayerPeer::handles(store), ElementsAre(0, 0, 0)) << c.open;
        EXPECT_EQ(mLog.take(), std::string("Could not open DB:") + c.reported);
    }
    // The status table's failure leaves the other handles alone.
    const std::vector<std::uint32_t> before = OrvoDBlayerPeer::handles(mStore);
    failing({"open OrvoStatus"});
    EXPECT_EQ(mStore.Init(), -1);
    EXPECT_THAT(OrvoDBlayerPeer::handles(mStore), ElementsAre(0, before[1], before[2]));
}

TEST_F(StoreTest, CloseGoesInReverseEmptiesTheCacheAndMayBeRepeated) {
    mStore.writeFinalEP(mApp, 412);
    framework().takeCalls();
    mStore.DeInit();
    EXPECT_EQ(framework().takeCalls(), "close OrvoEP; close OrvoLearning; close OrvoStatus");
    mStore.DeInit();
    EXPECT_EQ(framework().takeCalls(), "close ?; close ?; close ?");
    EXPECT_THAT(OrvoDBlayerPeer::handles(mStore), ElementsAre(0, 0, 0));
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // neither cached nor readable
    EXPECT_EQ(mStore.Init(), 0);
    EXPECT_EQ(mStore.getFinalEP(mApp), 412);
}

TEST_F(StoreTest, EmptyNameTouchesNothing) {
    std::string noName;
    bool learned = true;
    bool relearn = true;
    std::vector<std::int32_t> samples = {1};
    EXPECT_EQ(mStore.checkStatus(noName, true, learned, relearn), -1);
    EXPECT_TRUE(learned && relearn);
    mStore.writeAppSample(noName, 1);
    EXPECT_EQ(mStore.getAppSamples(noName, samples), 0U);
    mStore.deleteAppSamples(noName);
    mStore.writeFinalEP(noName, 1);
    EXPECT_EQ(mStore.getFinalEP(noName), -1);
    EXPECT_EQ(mStore.eraseLearning(noName), -1);
    EXPECT_EQ(framework().takeCalls() + mLog.take(), "");
}

TEST_F(StoreTest, LaunchesAreCountedUpToTheRelearnLimit) {
    struct {
        Rows stored;
        bool isCounted;
        bool learned, relearn;
        std::string write;  // the call that follows the read
        const char* log;
    } const cases[] = {
        {{}, false, false, false, "", ""},
        {{{1, 7}}, false, true, false, "", ""},
        {{{1, 499}}, false, true, false, "", ""},
        {{}, true, false, false, "insert OrvoStatus a 8 0 1", "(not learned) to 1"},
        {{{1, 1}}, true, true, false, "update OrvoStatus a 8 1 2", "(learned) to 2"},
        {{{0, 498}}, true, false, false, "update OrvoStatus a 8 0 499", "(not learned) to 499"},
        {{{1, 499}}, true, false, true, "", ""},
        {{{0, 500}}, true, false, false, "update OrvoStatus a 8 0 501", "(not learned) to 501"},
        {{{0, INT_MAX}},
         true,
         false,
         false,
         "update OrvoStatus a 8 0 -2147483648",
         "(not learned) to -2147483648"},
    };
    for (const auto& c : cases) {
        framework().tables.clear();
        for (const auto& words : c.stored)
            framework().tables["OrvoStatus"].emplace_back(mApp, words);
        bool learned = false;
        bool relearn = false;
        SCOPED_TRACE(testing::PrintToString(c.stored) + c.write);
        EXPECT_EQ(mStore.checkStatus(mApp, c.isCounted, learned, relearn), 0);
        EXPECT_EQ(learned, c.learned);
        EXPECT_EQ(relearn, c.relearn);
        EXPECT_EQ(framework().takeCalls(), c.write.empty() ? kRead : kRead + ("; " + c.write));
        EXPECT_EQ(mLog.take(), *c.log ? std::string("Setting launchCount for a ") + c.log : "");
    }
}

TEST_F(StoreTest, FailedStatusCallsAreReportedOrTakenAsNoRow) {
    framework().tables["OrvoStatus"] = {{mApp, {1, 499}}};
    bool learned = true;
    bool relearn = false;
    failing({"query OrvoStatus"});  // any result but 0 means no row
    EXPECT_EQ(mStore.checkStatus(mApp, false, learned, relearn), 0);
    EXPECT_TRUE(learned);  // left as it was
    EXPECT_EQ(mStore.checkStatus(mApp, true, learned, relearn), 0);
    EXPECT_FALSE(learned || relearn);
    failing({"update OrvoStatus"});
    framework().tables["OrvoStatus"] = {{mApp, {0, 3}}};
    mLog.take();
    EXPECT_EQ(mStore.checkStatus(mApp, true, learned, relearn), -1);
    EXPECT_EQ(mLog.take(),
              "Setting launchCount for a (not learned) to 4; Failed to update status for app a");
}

TEST_F(StoreTest, SamplesAreAddedReadInOrderAndDeleted) {
    std::vector<std::int32_t> samples = {1, 2, 3};
    mStore.writeAppSample(mApp, 30);
    mStore.writeAppSample(mApp, 20);
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 5U);
    EXPECT_THAT(samples, ElementsAre(1, 2, 3, 30, 20));
    mStore.deleteAppSamples(mApp);
    samples.clear();
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 0U);
    EXPECT_EQ(framework().takeCalls(),
              "insert OrvoLearning a 4 30; insert OrvoLearning a 4 20; queryAll OrvoLearning a 4; "
              "delete OrvoLearning a 0; queryAll OrvoLearning a 4");
    EXPECT_EQ(mLog.take(),
              "written app a sample endpoint 30; written app a sample endpoint 20; "
              "deleted app a samples successfully; Failed to fetch samples for app a");
    failing({"insert OrvoLearning", "delete OrvoLearning", "queryAll OrvoLearning"});
    mStore.writeAppSample(mApp, 10);
    mStore.deleteAppSamples(mApp);
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 0U);
    EXPECT_EQ(mLog.take(),
              "Failed to write sample for app a; Failed to delete samples for app a; "
              "Failed to fetch samples for app a");
}

TEST_F(StoreTest, FinalEndpointIsCachedOnceItsRowIsWrittenAndMarkedLearnedAfterThat) {
    const std::string insert = "insert OrvoEP a 4 412";
    const std::string query = insert + "; query OrvoStatus a 8";
    const std::string wrote = "Wrote endpoint for a as 412";
    const std::string marked = wrote + "; State update for a: isLearned=1, launchCount=";
    const std::string notMarked = "; Failed to update status for app a";
    struct {
        const char* fault;
        std::int32_t result;
        std::int32_t endpointAfter;
        std::string calls, log;
    } const cases[] = {
        {"", 0, 412, query + "; update OrvoStatus a 8 1 9", marked + "9"},
        {"insert OrvoEP", -1, -1, insert, "Failed to write endpoint for app a"},
        {"query OrvoStatus", -1, 412, query, wrote + notMarked},
        {"query OrvoStatus", 1, 412, query + "; update OrvoStatus a 8 1 0", marked + "0"},
        {"update OrvoStatus", -1, 412, query + "; update OrvoStatus a 8 1 9",
         marked + "9" + notMarked},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fault) + " " + std::to_string(c.result));
        mStore.eraseLearning(mApp);
        framework().tables["OrvoStatus"] = {{mApp, {0, 9}}};
        framework().takeCalls();
        failing({c.fault}, c.result);
        mStore.writeFinalEP(mApp, 412);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_EQ(mLog.take(), c.log);
        failing({"queryAll OrvoEP"});
        EXPECT_EQ(mStore.getFinalEP(mApp), c.endpointAfter);  // from the cache, or not at all
    }
}

TEST_F(StoreTest, FinalEndpointIsReadFromTheTableWhenThereIsExactlyOneRow) {
    for (const auto& [rows, endpoint] :
         {std::pair<Rows, int>{{}, -1}, {{{77}}, 77}, {{}, -1}, {{{77}, {78}}, -1}}) {
        framework().tables.clear();  // what was read before is not cached
        for (const auto& words : rows)
            framework().tables["OrvoEP"].emplace_back(mApp, words);
        EXPECT_EQ(mStore.getFinalEP(mApp), endpoint);
    }
    EXPECT_EQ(mLog.take(), "");
}

TEST_F(StoreTest, EraseForgetsEverythingWhateverFails) {
    failing({"delete OrvoStatus", "delete OrvoLearning"});
    mStore.writeFinalEP(mApp, 412);
    framework().takeCalls();
    mLog.take();
    EXPECT_EQ(mStore.eraseLearning(mApp), 0);
    EXPECT_EQ(framework().takeCalls(),
              "delete OrvoStatus a 0; delete OrvoLearning a 0; delete OrvoEP a 0");
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    EXPECT_EQ(mLog.take(), "");
}

}  // namespace
