// The learning store on a scripted database: every call, every failure.
#include <gmock/gmock.h>

#include "store/orvo_dblayer.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::ElementsAre;

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        framework().reset();
        mLog.onLine = [](const LogLine& line) { framework().calls.push_back(line.text); };
        mStore.Init();
    }
    ~StoreTest() override { mStore.DeInit(); }

    // What the operation does, database calls and log lines in their order,
    // where the call `fault` has that result.
    template <typename Operation>
    static std::string traceOf(Operation operation, const char* fault = "",
                               std::int32_t result = -1) {
        framework().faults = {{fault, [result] { return result; }}};
        framework().takeCalls();
        operation();
        framework().faults.clear();
        return framework().takeCalls();
    }

    LogCapture mLog{4};
    OrvoDBlayer mStore;
    std::string mApp = "a";
};

TEST_F(StoreTest, FailedOpenClosesWhatWasOpenedAndNamesTheTableThatReadersKnow) {
    const auto open = [] {
        OrvoDBlayer store;
        EXPECT_EQ(store.Init(), -1);
        store.DeInit();
    };
    const std::string closeNone = "; close ?; close ?; close ?";
    EXPECT_EQ(traceOf(open, "open OrvoStatus"),
              "open OrvoStatus; Could not open DB:OrvoLearning" + closeNone);
    EXPECT_EQ(traceOf(open, "open OrvoLearning", 1),
              "open OrvoStatus; open OrvoLearning; Could not open DB:OrvoLearning; "
              "close OrvoStatus" +
                  closeNone);
    EXPECT_EQ(traceOf(open, "open OrvoEP", 7),
              "open OrvoStatus; open OrvoLearning; open OrvoEP; Could not open DB:OrvoEP; "
              "close OrvoStatus; close OrvoLearning" +
                  closeNone);
}

TEST_F(StoreTest, CloseGoesInReverseEmptiesTheCacheAndMayBeRepeated) {
    const auto close = [&] { mStore.DeInit(); };
    mStore.writeFinalEP(mApp, 412);
    EXPECT_EQ(traceOf(close), "close OrvoEP; close OrvoLearning; close OrvoStatus");
    EXPECT_EQ(traceOf(close), "close ?; close ?; close ?");
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // neither cached nor readable
    EXPECT_EQ(mStore.Init(), 0);
    EXPECT_EQ(mStore.getFinalEP(mApp), 412);
}

TEST_F(StoreTest, UncountedStatusOfAPackageWithoutOneLeavesTheCallersFlag) {
    bool flag = true;
    EXPECT_EQ(mStore.checkStatus(mApp, false, flag, flag), 0);
    EXPECT_TRUE(flag);
}

TEST_F(StoreTest, EmptyNameIsRefusedBeforeTheDatabaseAndInSilence) {
    mApp.clear();
    const auto all = [&] {
        bool flag = false;
        std::vector<std::int32_t> samples = {1};
        EXPECT_EQ(mStore.checkStatus(mApp, true, flag, flag), -1);
        mStore.writeAppSample(mApp, 30);
        EXPECT_EQ(mStore.getAppSamples(mApp, samples), 0U);
        mStore.deleteAppSamples(mApp);
        mStore.writeFinalEP(mApp, 412);
        EXPECT_EQ(mStore.getFinalEP(mApp), -1);
        EXPECT_EQ(mStore.eraseLearning(mApp), -1);
    };
    EXPECT_EQ(traceOf(all), "");
}

TEST_F(StoreTest, SamplesAreAddedReadInOrderBehindWhatIsThereAndDeleted) {
    std::vector<std::int32_t> samples = {1};
    std::uint64_t count = 0;
    const auto write = [&] { mStore.writeAppSample(mApp, 30); };
    const auto read = [&] { count = mStore.getAppSamples(mApp, samples); };
    const auto erase = [&] { mStore.deleteAppSamples(mApp); };
    const std::string inserted = "insert OrvoLearning a 4 30; ";
    framework().tables["OrvoLearning"] = {{mApp, {40}}};
    EXPECT_EQ(traceOf(write), inserted + "written app a sample endpoint 30");
    EXPECT_EQ(traceOf(write, "insert OrvoLearning"), inserted + "Failed to write sample for app a");
    EXPECT_EQ(traceOf(read), "queryAll OrvoLearning a 4");
    EXPECT_THAT(samples, ElementsAre(1, 40, 30));
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(traceOf(erase, "delete OrvoLearning"),
              "delete OrvoLearning a 0; Failed to delete samples for app a");
    EXPECT_EQ(traceOf(erase), "delete OrvoLearning a 0; deleted app a samples successfully");
    EXPECT_EQ(traceOf(read), "queryAll OrvoLearning a 4; Failed to fetch samples for app a");
    EXPECT_EQ(count, 3U);
}

TEST_F(StoreTest, ARowThatIsCountedButNotHandedOutIsNoFinalEndpoint) {
    std::int32_t endpointMs = 0;
    const auto read = [&] { endpointMs = mStore.getFinalEP(mApp); };
    EXPECT_EQ(traceOf(read, "queryAll OrvoEP", 1), "queryAll OrvoEP a 4");
    EXPECT_EQ(endpointMs, -1);
}

TEST_F(StoreTest, FinalEndpointIsCachedOnceItsRowIsWrittenAndMarkedLearnedAfterThat) {
    const auto finish = [&] {
        mStore.eraseLearning(mApp);
        framework().tables["OrvoStatus"] = {{mApp, {0, 9}}};
        framework().takeCalls();
        mStore.writeFinalEP(mApp, 412);
    };
    const auto cached = [&] {
        framework().tables.clear();
        return mStore.getFinalEP(mApp);
    };
    const std::string insert = "insert OrvoEP a 4 412; ";
    const std::string query = insert + "Wrote endpoint for a as 412; query OrvoStatus a 8; ";
    const std::string mark = query + "State update for a: isLearned=1, launchCount=";
    const std::string failed = "Failed to update status for app a";
    EXPECT_EQ(traceOf(finish), mark + "9; update OrvoStatus a 8 1 9");
    EXPECT_EQ(traceOf(finish, "query OrvoStatus"), query + failed);
    EXPECT_EQ(cached(), 412);
    EXPECT_EQ(traceOf(finish, "query OrvoStatus", 1), mark + "0; update OrvoStatus a 8 1 0");
    EXPECT_EQ(traceOf(finish, "update OrvoStatus"),
              mark + "9; update OrvoStatus a 8 1 9; " + failed);
    EXPECT_EQ(cached(), 412);
    EXPECT_EQ(traceOf(finish, "insert OrvoEP"), insert + "Failed to write endpoint for app a");
    EXPECT_EQ(cached(), -1);
}

}  // namespace
