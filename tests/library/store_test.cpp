// The learning store on a scripted database: every call, every failure.
#include <climits>
#include <functional>
#include <gmock/gmock.h>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        framework().reset();
        mStore.Init();
        framework().takeCalls();
    }
    ~StoreTest() override { mStore.DeInit(); }

    /// From here on these calls, and no others, fail.
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
}

TEST_F(StoreTest, CloseGoesInReverseEmptiesTheCacheAndMayBeRepeated) {
    mStore.writeFinalEP(mApp, 412);
    framework().takeCalls();
    mStore.DeInit();
    mStore.DeInit();
    EXPECT_EQ(framework().takeCalls(),
              "close OrvoEP; close OrvoLearning; close OrvoStatus; close ?; close ?; close ?");
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
        std::vector<std::int32_t> stored;
        const char* fault;
        bool isCounted;
        std::vector<std::int32_t> outcome;  // result, learned, relearn
        std::string calls;                  // those after the read
    } const cases[] = {
        {{}, "", false, {0, 0, 0}, ""},
        {{1, 499}, "", false, {0, 1, 0}, ""},
        {{1, 499}, "query OrvoStatus", false, {0, 0, 0}, ""},  // taken as no row
        {{}, "", true, {0, 0, 0}, "; insert OrvoStatus a 8 0 1"},
        {{1, 1}, "", true, {0, 1, 0}, "; update OrvoStatus a 8 1 2"},
        {{0, 498}, "", true, {0, 0, 0}, "; update OrvoStatus a 8 0 499"},
        {{1, 499}, "", true, {0, 0, 1}, ""},
        {{1, 499}, "query OrvoStatus", true, {0, 0, 0}, "; insert OrvoStatus a 8 0 1"},
        {{0, 500}, "", true, {0, 0, 0}, "; update OrvoStatus a 8 0 501"},
        {{0, INT_MAX}, "", true, {0, 0, 0}, "; update OrvoStatus a 8 0 -2147483648"},
        {{0, 3}, "update OrvoStatus", true, {-1, 0, 0}, "; update OrvoStatus a 8 0 4"},
    };
    for (const auto& c : cases) {
        framework().tables.clear();
        if (!c.stored.empty()) framework().tables["OrvoStatus"] = {{mApp, c.stored}};
        failing({c.fault});
        bool learned = false;
        bool relearn = false;
        SCOPED_TRACE(testing::PrintToString(c.stored) + c.fault);
        const std::int32_t result = mStore.checkStatus(mApp, c.isCounted, learned, relearn);
        EXPECT_THAT(c.outcome, ElementsAre(result, learned, relearn));
        EXPECT_EQ(framework().takeCalls(), "query OrvoStatus a 8" + c.calls);
    }
    EXPECT_EQ(mLog.count("Failed"), 1);
    EXPECT_THAT(mLog.take(), EndsWith("Setting launchCount for a (not learned) to 4; "
                                      "Failed to update status for app a"));
    bool learned = true;
    bool relearn = true;
    failing({"query OrvoStatus"});
    mStore.checkStatus(mApp, false, learned, relearn);
    EXPECT_TRUE(learned && relearn);  // what it does not set it leaves as it was
}

TEST_F(StoreTest, EachCallThatFailsIsReportedAndKeepsWhatComesAfterItFromBeingDone) {
    const auto write = [&] { mStore.writeAppSample(mApp, 30); };
    const auto erase = [&] { mStore.deleteAppSamples(mApp); };
    const auto finish = [&] { mStore.writeFinalEP(mApp, 412); };
    const std::string insert = "insert OrvoEP a 4 412";
    const std::string query = insert + "; query OrvoStatus a 8";
    const std::string wrote = "Wrote endpoint for a as 412";
    const std::string marked = wrote + "; State update for a: isLearned=1, launchCount=";
    const std::string notMarked = "; Failed to update status for app a";
    struct {
        const char* fault;
        std::int32_t result;
        std::function<void()> operation;
        std::string calls, log;
        std::int32_t cachedEndpoint;
    } const cases[] = {
        {"", 0, write, "insert OrvoLearning a 4 30", "written app a sample endpoint 30", -1},
        {"insert OrvoLearning", -1, write, "insert OrvoLearning a 4 30",
         "Failed to write sample for app a", -1},
        {"", 0, erase, "delete OrvoLearning a 0", "deleted app a samples successfully", -1},
        {"delete OrvoLearning", -1, erase, "delete OrvoLearning a 0",
         "Failed to delete samples for app a", -1},
        {"", 0, finish, query + "; update OrvoStatus a 8 1 9", marked + "9", 412},
        {"insert OrvoEP", -1, finish, insert, "Failed to write endpoint for app a", -1},
        {"query OrvoStatus", -1, finish, query, wrote + notMarked, 412},
        {"query OrvoStatus", 1, finish, query + "; update OrvoStatus a 8 1 0", marked + "0", 412},
        {"update OrvoStatus", -1, finish, query + "; update OrvoStatus a 8 1 9",
         marked + "9" + notMarked, 412},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fault) + " " + std::to_string(c.result));
        mStore.eraseLearning(mApp);
        framework().tables["OrvoStatus"] = {{mApp, {0, 9}}};
        framework().takeCalls();
        failing({c.fault}, c.result);
        c.operation();
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_EQ(mLog.take(), c.log);
        failing({"queryAll OrvoEP"});
        EXPECT_EQ(mStore.getFinalEP(mApp), c.cachedEndpoint);
    }
}

TEST_F(StoreTest, SamplesAreReadInOrderBehindWhatIsThere) {
    std::vector<std::int32_t> samples = {1};
    framework().tables["OrvoLearning"] = {{mApp, {30}}, {mApp, {20}}};
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 3U);
    EXPECT_THAT(samples, ElementsAre(1, 30, 20));
    EXPECT_EQ(framework().takeCalls() + mLog.take(), "queryAll OrvoLearning a 4");
    framework().tables.clear();
    EXPECT_EQ(mStore.getAppSamples(mApp, samples), 3U);  // no rows are a failure too
    EXPECT_EQ(mLog.take(), "Failed to fetch samples for app a");
}

TEST_F(StoreTest, FinalEndpointIsReadFromTheTableWhenThereIsExactlyOneRow) {
    auto& rows = framework().tables["OrvoEP"];
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    rows = {{mApp, {77}}};
    EXPECT_EQ(mStore.getFinalEP(mApp), 77);
    rows.push_back({mApp, {78}});
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // what was read before is not cached
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
