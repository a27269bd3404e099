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

/// Waits in real time.
template <typename Condition>
bool becomesTrue(Condition condition, int milliseconds = 20'000) {
    for (; milliseconds > 0 && !condition(); --milliseconds)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

/// Ends a child process, whose failures are the test's.
[[noreturn]] void leaveChild() {
    std::fflush(stdout);
    _exit(testing::Test::HasFailure() ? 1 : 0);
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
        mPeer.pendingAppName.clear();
        mPeer.pendingType = mPeer.pendingSubType = 0;
        char unaligned[9];
        std::memcpy(unaligned + 1, mLaunch, sizeof(mLaunch));
        LogCapture log(4);
        EXPECT_EQ(set(1, unaligned + 1), 0);
        EXPECT_EQ(log.texts().back(), c.lastLine);
        EXPECT_EQ(framework().tables["OrvoStatus"].empty(), c.status[1] == 499);
        EXPECT_EQ(mPeer.launchPending, c.wakes);
        EXPECT_EQ(mPeer.pendingAppName, c.wakes ? mApp : "");
        EXPECT_EQ(mPeer.pendingType, c.wakes ? 2 : 0);
        EXPECT_EQ(mPeer.pendingSubType, c.wakes ? -3 : 0);
    }
}

TEST_F(EntryTest, QueriesAnswerFromStoreAndPidMap) {
    const std::pair<std::vector<std::int32_t>, std::int32_t> averages[] = {
        {{}, 0}, {{1, 2}, 1}, {{-5}, 0}, {{2147483647, 2147483647}, 2147483647}};
    LogCapture log(4);
    for (const auto& [samples, average] : averages) {
        framework().tables.clear();
        for (const std::int32_t sample : samples)
            framework().tables["OrvoLearning"].push_back({mApp, {sample}});
        EXPECT_EQ(get(5), average) << testing::PrintToString(samples);
    }
    struct {
        std::vector<std::int32_t> status, endpoint;
        std::int32_t result;
    } const finals[] = {
        {{1, 499}, {412}, 412}, {{0, 9}, {412}, 0}, {{1, 9}, {-3}, 0}, {{1, 9}, {}, 0}};
    for (const auto& c : finals) {
        framework().tables["OrvoStatus"] = {{mApp, c.status}};
        framework().tables["OrvoEP"] = {{c.endpoint.empty() ? "other" : mApp, c.endpoint}};
        EXPECT_EQ(get(4), c.result) << testing::PrintToString(c.endpoint);
        EXPECT_EQ(framework().tables["OrvoStatus"][0].second, c.status);  // not counted
    }
    mApp = "never seen";
    EXPECT_EQ(get(7), 1);
    for (const std::int32_t pid : {-1, 0, 2, 4711}) {
        OrvoLearner::mOrvoLearner.setPidOnMap(mApp, pid);
        EXPECT_EQ(get(7), std::max(pid, 1));
    }
    EXPECT_EQ(log.count("PID from Map:1 app:never seen"), 3);
}

TEST_F(EntryTest, NothingThrowsAcrossTheBoundary) {
    const std::function<std::int32_t()> faults[] = {
        []() -> std::int32_t { throw std::runtime_error("boom"); },
        []() -> std::int32_t { throw 5; },
    };
    for (const auto& fault : faults) {
        LogCapture log;
        for (const char* call : {"open OrvoStatus", "query OrvoStatus", "delete OrvoStatus",
                                 "queryAll OrvoLearning", "close OrvoEP"})
            framework().faults[call] = fault;
        EXPECT_EQ(set(10), -1);
        EXPECT_EQ(set(1, mLaunch) + set(3) + set(11) + get(4) + get(5), 0);
        EXPECT_EQ(log.count("exception"), 6);
        framework().reset();
    }
}

// At levels below each gate.
TEST_F(EntryTest, FailedAllocationAnywhereInAnOperationIsSurvived) {
    mApp.assign(100, 'n');
    for (const unsigned level : {2U, 3U}) {
        LogCapture log(level);
        bool more = true;
        for (int at = 0; more; ++at) {
            framework().tables["OrvoLearning"] = {{mApp, {1}}};
            framework().tables["OrvoStatus"] = {{mApp, {0, at % 2 == 0 ? 498 : 499}}};
            const auto operations = [&] {
                get(4), get(5), get(7), set(1, mLaunch), set(2), set(3), set(11);
            };
            const auto fault = [] { throw std::bad_alloc(); };
            EXPECT_NO_THROW(more = allocation_faults::happensAt(at, fault, operations));
            OrvoDBlayer::mOrvoDB.Init();
        }
        EXPECT_GT(log.count("exception"), 5);
    }
}

TEST_F(EntryTest, FailedThreadCreationFailsTheInitialiseOperation) {
    pthread_attr_t before;
    pthread_attr_t huge;
    pthread_getattr_default_np(&before);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    LogCapture log(3);
    EXPECT_EQ(set(10), -1);
    pthread_setattr_default_np(&before);
    EXPECT_EQ(log.take(), "Init Orvo; Learning thread Creation Failed");
}

using EntryDeathTest = EntryTest;

TEST_F(EntryDeathTest, SecondInitialiseAndExitWithTheThreadTerminateTheProcess) {
    mApp.clear();  // neither name nor message is looked at
    const auto initialise = [&] {
        EXPECT_EQ(set(10), 0);
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
    FdMessage message{3};
    std::thread host([&] {
        setData(6, app, &message);
        returned = true;
    });
    EXPECT_TRUE(becomesTrue([&] { return log.count("FD info 0[10]") == 1; }));
#ifdef ORVO_HARDENED_LOCKING
    EXPECT_TRUE(becomesTrue([&] { return returned.load(); }));
    EXPECT_EQ(OrvoLearnerPeer(OrvoLearner::mOrvoLearner).fdCounts(), 3U);
#else
    EXPECT_FALSE(becomesTrue([&] { return returned || log.count("FD info 1[11]") > 0; }, 300));
#endif
    leaveChild();
}

TEST_F(EntryDeathTest, DescriptorCountsBlockTheirCallerUnlessThereAreNone) {
    EXPECT_EXIT(pushDescriptorCounts(mApp), ExitedWithCode(0), "");
}

// The host's side of a package's fifth launch, of a sixth, and the shut-down.
void learnThroughTheBoundary(std::string app, std::int32_t* launch) {
    OrvoDBlayer::mOrvoDB.DeInit();
    framework().tables["OrvoLearning"].assign(4, {app, {210}});
    const device::Child child = device::Child::named(app);
    device::setTasks(std::to_string(child.pid()));
    // Descriptor counts that change at the seventh sample and then stay.
    virtual_time::onSleep = [](unsigned us) {
        const auto count = static_cast<int>(virtual_time::sleepsUs.size() % 35);
        if (us == 30'000) OrvoLearner::mOrvoLearner.insertFDCount(count < 9 ? count : 1000);
    };
    LogCapture log(4);
    const auto comes = [&](const char* line, int times) {
        return becomesTrue([&] { return log.count(line) == times; });
    };
    EXPECT_EQ(setData(10, app, nullptr), 0);
    EXPECT_TRUE(comes("Waiting for Launch", 1));
    EXPECT_EQ(getData(4, app), 0);
    setData(1, app, launch);
    EXPECT_TRUE(comes("Waiting for Launch", 2));
    EXPECT_EQ(getData(4, app), 210);
    EXPECT_EQ(getData(5, app), 0);
    EXPECT_EQ(getData(7, app), child.pid());
    setData(3, app, nullptr);
    setData(11, app, nullptr);
    // The waiting thread is not woken: it takes one more launch, and ends.
    EXPECT_FALSE(becomesTrue([&] { return log.count("Start Learning") > 1; }, 100));
    setData(1, app, launch);
    EXPECT_TRUE(comes("Learned Launch Endpoint", 2));
    EXPECT_FALSE(becomesTrue([&] { return log.count("Waiting for Launch") > 2; }, 100));
    leaveChild();
}

TEST_F(EntryDeathTest, FifthLaunchMakesAPackageLearned) {
    mLaunch[0] = 1;
    EXPECT_EXIT(learnThroughTheBoundary(mApp, mLaunch), ExitedWithCode(0), "");
}

}  // namespace
