// The exported functions: operations, messages, threads and ways to leave.
#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include "feature/orvo.h"
#include "feature/orvo_feature.h"
#include "platform/tavo_log.h"
#include "tests/library/peers.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

namespace {

using testing::ExitedWithCode;
using testing::KilledBySignal;

#define ORVO_REQUIRE_IN_CHILD(condition)                  \
    if (!(condition)) {                                   \
        std::fprintf(stderr, "not so: " #condition "\n"); \
        _exit(1);                                         \
    }

/// Waits in real time.
template <typename Condition>
bool becomesTrue(Condition condition, int milliseconds = 20'000) {
    for (; milliseconds > 0 && !condition(); --milliseconds)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

struct FdMessage {
    std::uint16_t count;
    std::uint16_t padding = 0xffff;
    std::int32_t entries[3] = {10, 11, 12};
};

class EntryTest : public testing::Test {
protected:
    EntryTest() {
        framework().reset();
        virtual_time::reset();
        OrvoDBlayer::mOrvoDB.Init();
        framework().takeCalls();
        mPeer.launchPending = false;
    }
    ~EntryTest() override { OrvoDBlayer::mOrvoDB.DeInit(); }

    std::int32_t set(int op, void* msg = nullptr) { return setData(op, mApp, msg); }
    std::int32_t get(int op) { return getData(op, mApp); }

    std::string mApp = "a";
    std::int32_t mLaunch[2] = {2, -3};
    OrvoLearnerPeer mPeer{OrvoLearner::mOrvoLearner};
};

TEST_F(EntryTest, OperationsDoAndSayWhatTheirTableHas) {
    FdMessage none{0};
    struct {
        int op;
        void* msg;
        const char* calls;
        const char* log;  // after the line that every operation writes
    } const cases[] = {
        {1, nullptr, "", "msg is NULL"},
        {2, nullptr, "", "Stopping learning"},
        {3, nullptr, "delete OrvoStatus a 0; delete OrvoLearning a 0; delete OrvoEP a 0",
         "Erased Learning for a"},
        {6, nullptr, "", ""},
        {6, &none, "", "UPDATE_FD_INFO: FDs Size:0; UPDATE_FD_INFO: FDs Size:0; setData appName:a"},
        {5, nullptr, "", "Unsupported op:5"},
        {-1, nullptr, "", "Unsupported op:-1"},
        {12, nullptr, "", "Unsupported op:12"},
    };
    LogCapture log(4);
    for (const auto& c : cases) {
        mPeer.stopRequested = false;
        EXPECT_EQ(set(c.op, c.msg), 0);
        const std::string first = "App:a op:" + std::to_string(c.op);
        EXPECT_EQ(log.take(), *c.log == '\0' ? first : first + "; " + c.log);
        EXPECT_EQ(framework().takeCalls(), c.calls);
        EXPECT_EQ(mPeer.stopRequested, c.op == 2);
        EXPECT_FALSE(mPeer.launchPending);
    }
    EXPECT_EQ(get(0) + get(6), 0);
    EXPECT_EQ(log.take(), "App:a op:0; Unsupported op!; App:a op:6; Unsupported op!");
    mApp.clear();
    EXPECT_EQ(set(1, mLaunch), 0);
    EXPECT_EQ(OrvoFeature::getInstance().setData(2, mApp, nullptr), -1);
    EXPECT_EQ(get(7), -1);
    EXPECT_EQ(log.take(), "Empty appName!; Empty appName!; Empty appName");
}

TEST_F(EntryTest, LaunchWakesTheLearnerUnlessLearnedOrToBeRelearned) {
    struct {
        std::vector<std::int32_t> status;
        const char* fault;
        bool wakes;
        const char* lastLine;
    } const cases[] = {
        {{0, 7}, "", true, "waking up learning thread for appName:a"},
        {{0, 499}, "update OrvoStatus", false, "Erased learning for a"},
        {{1, 499}, "", false, "Erased learning for a"},
        {{1, 7}, "", false, "Setting launchCount for a (learned) to 8"},
        {{1, 7}, "update OrvoStatus", true, "waking up learning thread for appName:a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.status) + c.fault);
        framework().reset();
        framework().tables["OrvoStatus"] = {{mApp, c.status}};
        framework().faults[c.fault] = [] { return -1; };
        mPeer.launchPending = false;
        mPeer.pendingType = mPeer.pendingSubType = 0;
        char unaligned[9];
        std::memcpy(unaligned + 1, mLaunch, sizeof(mLaunch));
        LogCapture log(4);
        EXPECT_EQ(set(1, unaligned + 1), 0);
        EXPECT_EQ(mPeer.launchPending, c.wakes);
        EXPECT_EQ(log.texts().back(), c.lastLine);
        EXPECT_EQ(framework().rowsOf("OrvoStatus", mApp).empty(), c.status[1] == 499);
        if (!c.wakes) continue;
        EXPECT_EQ(mPeer.pendingAppName, mApp);
        EXPECT_EQ(mPeer.pendingType, 2);
        EXPECT_EQ(mPeer.pendingSubType, -3);
    }
}

TEST_F(EntryTest, QueriesAnswerFromStoreAndPidMap) {
    const std::pair<std::vector<std::int32_t>, std::int32_t> averages[] = {
        {{}, 0},   {{10, 11, 12}, 11}, {{1, 2}, 1},
        {{-5}, 0}, {{0, 1}, 0},        {{2147483647, 2147483647}, 2147483647},
    };
    for (const auto& [samples, average] : averages) {
        framework().tables.clear();
        for (const std::int32_t sample : samples)
            framework().tables["OrvoLearning"].push_back({mApp, {sample}});
        EXPECT_EQ(get(5), average) << testing::PrintToString(samples);
    }
    struct {
        std::vector<std::int32_t> status, endpoints;
        const char* fault;
        std::int32_t result;
    } const finals[] = {
        {{1, 9}, {412}, "", 412}, {{0, 9}, {412}, "", 0}, {{1, 9}, {0}, "", 0},
        {{1, 9}, {-3}, "", 0},    {{1, 9}, {}, "", 0},    {{1, 9}, {412}, "query OrvoStatus", 0},
        {{1, 499}, {1}, "", 1},
    };
    for (const auto& c : finals) {
        framework().reset();
        framework().tables["OrvoStatus"] = {{mApp, c.status}};
        for (const std::int32_t endpoint : c.endpoints)
            framework().tables["OrvoEP"].push_back({mApp, {endpoint}});
        framework().faults[c.fault] = [] { return -1; };
        EXPECT_EQ(get(4), c.result) << testing::PrintToString(c.endpoints) << c.fault;
        EXPECT_EQ(framework().rowsOf("OrvoStatus", mApp)[0], c.status);  // not counted
    }
    LogCapture log;
    mApp = "never seen";
    EXPECT_EQ(get(7), 1);
    for (const std::int32_t pid : {-1, 0, 1, 2, 4711}) {
        OrvoLearner::mOrvoLearner.setPidOnMap(mApp, pid);
        EXPECT_EQ(get(7), std::max(pid, 1));
    }
    EXPECT_EQ(log.count("PID from Map:1 app:never seen"), 4);
}

TEST_F(EntryTest, NothingThrowsAcrossTheBoundary) {
    const std::function<std::int32_t()> faults[] = {
        []() -> std::int32_t { throw std::runtime_error("boom"); },
        []() -> std::int32_t { throw 5; },
    };
    for (const auto& fault : faults) {
        LogCapture log;
        framework().faults = {{"open OrvoStatus", fault},
                              {"query OrvoStatus", fault},
                              {"delete OrvoStatus", fault},
                              {"queryAll OrvoLearning", fault},
                              {"close OrvoEP", fault}};
        EXPECT_EQ(set(10), -1);
        EXPECT_EQ(set(1, mLaunch), 0);
        EXPECT_EQ(set(3), 0);
        EXPECT_EQ(set(11), 0);
        EXPECT_EQ(get(4), 0);
        EXPECT_EQ(get(5), 0);
        EXPECT_EQ(log.count("exception"), 6);
        framework().faults.clear();
    }
    mApp.assign(1000, 'n');
    framework().tables["OrvoLearning"] = {{mApp, {1}}};
    const std::function<void()> operations[] = {
        [&] { set(1, mLaunch); }, [&] { set(3); }, [&] { get(4); },
        [&] { get(5); },          [&] { get(7); },
    };
    LogCapture log;
    for (const auto& operation : operations) {
        bool more = true;
        for (int at = 0; more; ++at) {
            EXPECT_NO_THROW(more = allocation_faults::happensAt(
                                at, [] { throw std::bad_alloc(); }, operation));
        }
    }
}

TEST_F(EntryTest, FailedThreadCreationFailsTheInitialiseOperation) {
    pthread_attr_t before;
    pthread_attr_t huge;
    pthread_getattr_default_np(&before);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    LogCapture log;
    EXPECT_EQ(set(10), -1);
    pthread_setattr_default_np(&before);
    EXPECT_EQ(log.take(), "Learning thread Creation Failed");
}

using EntryDeathTest = EntryTest;

TEST_F(EntryDeathTest, SecondInitialiseAndExitWithTheThreadTerminateTheProcess) {
    mApp.clear();  // neither name nor message is looked at
    const auto initialise = [&] {
        ORVO_REQUIRE_IN_CHILD(set(10) == 0);
        std::fprintf(stderr, "initialised");
    };
    EXPECT_EXIT((initialise(), set(10), _exit(0)), KilledBySignal(SIGABRT), "initialised");
    EXPECT_EXIT((initialise(), std::exit(0)), KilledBySignal(SIGABRT), "initialised");
    EXPECT_EXIT((initialise(), set(11), std::exit(0)), KilledBySignal(SIGABRT), "initialised");
    EXPECT_EXIT((set(11), std::exit(0)), ExitedWithCode(0), "");
}

void pushDescriptorCounts(std::string app) {
    LogCapture log(3);
    std::atomic<bool> returned{false};
    FdMessage empty{0};
    FdMessage message{3};
    setData(6, app, &empty);
    std::thread host([&] {
        setData(6, app, &message);
        returned = true;
    });
    ORVO_REQUIRE_IN_CHILD(becomesTrue([&] { return log.count("FD info 0[10]") == 1; }));
    const LogLine first = log.lines().back();
    ORVO_REQUIRE_IN_CHILD(first.line == 981 && first.function == "updatesFDCount");
#ifdef ORVO_HARDENED_LOCKING
    ORVO_REQUIRE_IN_CHILD(becomesTrue([&] { return returned.load(); }));
    ORVO_REQUIRE_IN_CHILD(OrvoLearnerPeer(OrvoLearner::mOrvoLearner).fdCounts() == 3);
#else
    ORVO_REQUIRE_IN_CHILD(
        !becomesTrue([&] { return returned || log.count("FD info 1[11]") > 0; }, 300));
#endif
    _exit(0);
}

TEST_F(EntryDeathTest, DescriptorCountsBlockTheirCallerUnlessThereAreNone) {
    EXPECT_EXIT(pushDescriptorCounts(mApp), ExitedWithCode(0), "");
}

// The host's side of five launches, a sixth, and the shut-down.
void learnThroughTheBoundary(std::string app, std::int32_t* launch) {
    OrvoDBlayer::mOrvoDB.DeInit();
    const device::Child child = device::Child::named(app);
    device::setTasks(std::to_string(child.pid()));
    // Descriptor counts that change at the seventh sample and then stay.
    virtual_time::onSleep = [](unsigned us) {
        if (us == 30'000) {
            const auto count = virtual_time::sleepsUs.size();
            OrvoLearner::mOrvoLearner.insertFDCount(count % 35 < 9 ? static_cast<int>(count)
                                                                   : 1000);
        }
    };
    LogCapture log(4);
    ORVO_REQUIRE_IN_CHILD(setData(10, app, nullptr) == 0);
    const auto ended = [&](int launches) {
        return becomesTrue(
            [&] { return log.count("Waiting for Launch Event...") == launches + 1; });
    };
    ORVO_REQUIRE_IN_CHILD(ended(0));
    for (int launches = 1; launches <= 5; ++launches) {
        ORVO_REQUIRE_IN_CHILD(getData(4, app) == 0);
        setData(1, app, launch);
        ORVO_REQUIRE_IN_CHILD(ended(launches));
        ORVO_REQUIRE_IN_CHILD((getData(5, app) == 210) == (launches < 5));
        ORVO_REQUIRE_IN_CHILD(getData(7, app) == child.pid());
    }
    ORVO_REQUIRE_IN_CHILD(getData(4, app) == 210);
    setData(1, app, launch);
    ORVO_REQUIRE_IN_CHILD(log.texts().back().find("(learned) to 6") != std::string::npos);
    setData(3, app, nullptr);
    ORVO_REQUIRE_IN_CHILD(getData(4, app) == 0);
    setData(11, app, nullptr);
    // The waiting thread is not woken: it takes one more launch, and ends.
    ORVO_REQUIRE_IN_CHILD(!becomesTrue([&] { return log.count("Start Learning") > 5; }, 100));
    setData(1, app, launch);
    ORVO_REQUIRE_IN_CHILD(becomesTrue([&] { return log.count("Start Learning appName:") == 6; }));
    ORVO_REQUIRE_IN_CHILD(becomesTrue([&] { return log.count("Learned Launch Endpoint") == 6; }));
    ORVO_REQUIRE_IN_CHILD(!becomesTrue([&] { return log.count("Waiting for Launch") > 6; }, 100));
    _exit(0);
}

TEST_F(EntryDeathTest, FiveLaunchesMakeAPackageLearned) {
    mLaunch[0] = 1;
    EXPECT_EXIT(learnThroughTheBoundary(mApp, mLaunch), ExitedWithCode(0), "");
}

}  // namespace
