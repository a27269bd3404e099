// The learning store on a scripted database: every call, every failure.
#include <climits>
#include <gmock/gmock.h>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::ElementsAre;
using Ints = std::vector<std::int32_t>;

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        framework().reset();
        mLog.onLine = [](const LogLine& line) { framework().calls.push_back(line.text); };
        mStore.Init();
    }
    ~StoreTest() override { mStore.DeInit(); }

    /// What the operation does, database calls and log lines in their order,
    /// where the call `fault` has that result.
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
        EXPECT_THAT(OrvoDBlayerPeer::handles(store), ElementsAre(0, 0, 0));
    };
    EXPECT_EQ(traceOf(open, "open OrvoStatus"), "open OrvoStatus; Could not open DB:OrvoLearning");
    EXPECT_EQ(traceOf(open, "open OrvoLearning", 1),
              "open OrvoStatus; open OrvoLearning; Could not open DB:OrvoLearning; "
              "close OrvoStatus");
    EXPECT_EQ(traceOf(open, "open OrvoEP", 7),
              "open OrvoStatus; open OrvoLearning; open OrvoEP; Could not open DB:OrvoEP; "
              "close OrvoStatus; close OrvoLearning");
}

TEST_F(StoreTest, CloseGoesInReverseEmptiesTheCacheAndMayBeRepeated) {
    const auto close = [&] { mStore.DeInit(); };
    mStore.writeFinalEP(mApp, 412);
    EXPECT_EQ(traceOf(close), "close OrvoEP; close OrvoLearning; close OrvoStatus");
    EXPECT_EQ(traceOf(close), "close ?; close ?; close ?");
    EXPECT_THAT(OrvoDBlayerPeer::handles(mStore), ElementsAre(0, 0, 0));
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // neither cached nor readable
    EXPECT_EQ(mStore.Init(), 0);
    EXPECT_EQ(mStore.getFinalEP(mApp), 412);
}

TEST_F(StoreTest, LaunchesAreCountedUpToTheRelearnLimit) {
    // `outcome` is the result, whether it is learned and whether to relearn.
    const auto check = [&](const Ints& row, bool isCounted, const Ints& outcome,
                           const char* fault = "") {
        framework().tables.clear();
        if (!row.empty()) framework().tables["OrvoStatus"] = {{mApp, row}};
        const auto operation = [&] {
            bool learned = false;
            bool relearn = false;
            const std::int32_t result = mStore.checkStatus(mApp, isCounted, learned, relearn);
            EXPECT_THAT(outcome, ElementsAre(result, learned, relearn));
        };
        return traceOf(operation, fault);
    };
    const std::string read = "query OrvoStatus a 8";
    const std::string set = read + "; Setting launchCount for a ";
    const std::string setFirst = set + "(not learned) to 1; insert OrvoStatus a 8 0 1";
    EXPECT_EQ(check({1, 499}, false, {0, 1, 0}), read);
    EXPECT_EQ(check({}, true, {0, 0, 0}), setFirst);
    EXPECT_EQ(check({1, 499}, true, {0, 0, 0}, "query OrvoStatus"), setFirst);  // as if no row
    EXPECT_EQ(check({1, 1}, true, {0, 1, 0}), set + "(learned) to 2; update OrvoStatus a 8 1 2");
    EXPECT_EQ(check({0, 498}, true, {0, 0, 0}),
              set + "(not learned) to 499; update OrvoStatus a 8 0 499");
    EXPECT_EQ(check({1, 499}, true, {0, 0, 1}), read);
    EXPECT_EQ(check({0, 500}, true, {0, 0, 0}),
              set + "(not learned) to 501; update OrvoStatus a 8 0 501");
    EXPECT_EQ(check({0, INT_MAX}, true, {0, 0, 0}),
              set + "(not learned) to -2147483648; update OrvoStatus a 8 0 -2147483648");
    EXPECT_EQ(check({0, 3}, true, {-1, 0, 0}, "update OrvoStatus"),
              set +
                  "(not learned) to 4; update OrvoStatus a 8 0 4; "
                  "Failed to update status for app a");
    bool flag = true;
    traceOf([&] { mStore.checkStatus(mApp, false, flag, flag); }, "query OrvoStatus");
    EXPECT_TRUE(flag);  // what it does not set it leaves as it was
}

TEST_F(StoreTest, SamplesAreAddedReadInOrderBehindWhatIsThereAndDeleted) {
    Ints samples = {1};
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

TEST_F(StoreTest, FinalEndpointIsReadFromTheTableWhenThereIsExactlyOneRow) {
    auto& rows = framework().tables["OrvoEP"];
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
    rows = {{mApp, {77}}};
    EXPECT_EQ(mStore.getFinalEP(mApp), 77);
    rows.push_back({mApp, {78}});
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);  // what was read before is not cached
}

TEST_F(StoreTest, EraseForgetsEverythingWhateverFails) {
    mStore.writeFinalEP(mApp, 412);
    for (const char* fault : {"delete OrvoStatus", "delete OrvoLearning"}) {
        EXPECT_EQ(traceOf([&] { EXPECT_EQ(mStore.eraseLearning(mApp), 0); }, fault),
                  "delete OrvoStatus a 0; delete OrvoLearning a 0; delete OrvoEP a 0");
    }
    EXPECT_EQ(mStore.getFinalEP(mApp), -1);
}

}  // namespace
