// The exported functions: operations, messages, threads and ways to leave.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <gmock/gmock.h>
#include <new>
#include <thread>
#include <unistd.h>

#include "feature/orvo.h"
#include "host/dump/learner_peer.h"
#include "store/orvo_dblayer.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

namespace {

using testing::ExitedWithCode;
using testing::KilledBySignal;
using Ints = std::vector<std::int32_t>;

// Waits in real time.
template <typename Condition>
bool becomesTrue(Condition condition, int milliseconds = 20'000) {
    for (; milliseconds > 0 && !condition(); --milliseconds)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

// Ends a child process, whose failures are the test's.
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
    LogCapture log(4);
    log.onLine = [](const LogLine& line) { framework().calls.push_back(line.text); };
    const auto trace = [&](int op, void* msg = nullptr) {
        mPeer.stopRequested = false;
        EXPECT_EQ(set(op, msg), 0);
        EXPECT_EQ(mPeer.stopRequested, op == 2);
        EXPECT_FALSE(mPeer.launchPending);
        return framework().takeCalls();
    };
    FdMessage none{0};
    EXPECT_EQ(trace(1), "App:a op:1; msg is NULL");
    EXPECT_EQ(trace(2), "App:a op:2; Stopping learning");
    // A row that cannot be deleted keeps no other from being erased.
    for (const char* call : {"delete OrvoStatus", "delete OrvoLearning"})
        framework().faults[call] = [] { return -1; };
    EXPECT_EQ(trace(3),
              "App:a op:3; Erased Learning for a; "
              "delete OrvoStatus a 0; delete OrvoLearning a 0; delete OrvoEP a 0");
    EXPECT_EQ(trace(11),
              "DeInit Orvo; DeInit Orvo learner; clearAll; clearIntermediates; "
              "Intermediates cleared; cleared; close OrvoEP; close OrvoLearning; close OrvoStatus");
    EXPECT_EQ(trace(6), "App:a op:6");
    EXPECT_EQ(trace(6, &none),
              "App:a op:6; UPDATE_FD_INFO: FDs Size:0; UPDATE_FD_INFO: FDs Size:0; "
              "setData appName:a");
    EXPECT_EQ(trace(5), "App:a op:5; Unsupported op:5");
    EXPECT_EQ(get(0) + get(6), 0);
    EXPECT_EQ(framework().takeCalls(), "App:a op:0; Unsupported op!; App:a op:6; Unsupported op!");
    mApp.clear();
    EXPECT_EQ(trace(1, mLaunch), "Empty appName!");
    EXPECT_EQ(get(7), -1);
    EXPECT_EQ(framework().takeCalls(), "Empty appName");
}

TEST_F(EntryTest, LaunchIsCountedUpToTheRelearnLimitAndWakesTheLearnerUnlessLearned) {
    LogCapture log(4);
    log.onLine = [](const LogLine& line) { framework().calls.push_back(line.text); };
    const std::string read = "App:a op:1; query OrvoStatus a 8";
    const std::string count = read + "; Setting launchCount for a ";
    const std::string wake = "; waking up learning thread for appName:a";
    const auto check = [&](const Ints& status, const std::string& trace, const char* fault = "") {
        framework().tables.clear();
        if (!status.empty()) framework().tables["OrvoStatus"] = {{mApp, status}};
        framework().faults = {{fault, [] { return -1; }}};
        mPeer.launchPending = false;
        char unaligned[9];
        std::memcpy(unaligned + 1, mLaunch, sizeof(mLaunch));
        EXPECT_EQ(set(1, unaligned + 1), 0);
        EXPECT_EQ(framework().takeCalls(), trace);
        EXPECT_EQ(mPeer.launchPending, trace.find(wake) != std::string::npos);
    };
    const std::string first = count + "(not learned) to 1; insert OrvoStatus a 8 0 1" + wake;
    check({}, first);
    EXPECT_EQ(mPeer.pendingAppName, mApp);
    EXPECT_EQ(mPeer.pendingType, 2);
    EXPECT_EQ(mPeer.pendingSubType, -3);
    check({1, 499}, first, "query OrvoStatus");  // as if there were no row
    check({1, 1}, count + "(learned) to 2; update OrvoStatus a 8 1 2");
    check({0, 498}, count + "(not learned) to 499; update OrvoStatus a 8 0 499" + wake);
    check({0, 499}, read +
                        "; delete OrvoStatus a 0; delete OrvoLearning a 0; delete OrvoEP a 0; "
                        "Erased learning for a");
    check({0, 500}, count + "(not learned) to 501; update OrvoStatus a 8 0 501" + wake);
    check({1, 2147483647}, count + "(learned) to -2147483648; update OrvoStatus a 8 1 -2147483648");
    check({1, 3},
          count +
              "(learned) to 4; update OrvoStatus a 8 1 4; "
              "Failed to update status for app a" +
              wake,
          "update OrvoStatus");
}

TEST_F(EntryTest, QueriesAnswerFromStoreAndPidMap) {
    LogCapture log(4);
    const auto average = [&](const Ints& samples) {
        framework().tables.clear();
        for (const std::int32_t sample : samples)
            framework().tables["OrvoLearning"].insert({mApp, {sample}});
        return get(5);
    };
    EXPECT_EQ(average({}), 0);
    EXPECT_EQ(average({1, 2}), 1);
    EXPECT_EQ(average({-5}), 0);
    EXPECT_EQ(average({2147483647, 2147483647}), 2147483647);
    const auto endpoint = [&](const Ints& status, std::int32_t stored) {
        framework().tables["OrvoStatus"] = {{mApp, status}};
        framework().tables["OrvoEP"] = {{mApp, {stored}}};
        const std::int32_t result = get(4);
        EXPECT_EQ(framework().tables["OrvoStatus"].begin()->second, status);  // not counted
        return result;
    };
    EXPECT_EQ(endpoint({1, 499}, 412), 412);
    EXPECT_EQ(endpoint({0, 9}, 412), 0);
    EXPECT_EQ(endpoint({1, 9}, -3), 0);
    EXPECT_EQ(endpoint({1, 9}, 77), 77);  // what was read before is not cached
    framework().tables["OrvoEP"].insert({mApp, {78}});
    EXPECT_EQ(get(4), 0);  // there can only be one
    mApp = "never seen";
    EXPECT_EQ(OrvoLearner::mOrvoLearner.getPidFromMap(mApp), -1);
    EXPECT_EQ(get(7), 1);
    for (const std::int32_t pid : {-1, 0, 2, 4711}) {
        OrvoLearner::mOrvoLearner.setPidOnMap(mApp, pid);
        EXPECT_EQ(get(7), std::max(pid, 1));
    }
    EXPECT_EQ(log.count("PID from Map:1 app:never seen"), 3);
    EXPECT_EQ(log.count("Finding pid for never seen found 0"), 2);
    EXPECT_EQ(log.count("Finding pid for never seen found 1"), 4);
}

// With each kind of exception, at levels below each gate.
TEST_F(EntryTest, FailedAllocationAnywhereInAnOperationIsSurvived) {
    mApp.assign(100, 'n');
    for (const bool isStandard : {true, false}) {
        const auto fault = [=] {
            if (isStandard) throw std::bad_alloc();
            throw 5;
        };
        const auto operations = [&] {
            EXPECT_EQ(get(4), 0);
            EXPECT_EQ(get(7), 1);
            get(5);
            EXPECT_EQ(set(1, mLaunch) + set(2) + set(3) + set(11), 0);
        };
        LogCapture log(isStandard ? 2 : 3);
        bool more = true;
        for (int at = 0; more; ++at) {
            framework().tables["OrvoLearning"] = {{mApp, {1}}};
            framework().tables["OrvoStatus"] = {{mApp, {0, at % 2 == 0 ? 498 : 499}}};
            EXPECT_NO_THROW(more = allocation_faults::happensAt(at, fault, operations));
            OrvoDBlayer::mOrvoDB.Init();
        }
        EXPECT_GT(log.count(isStandard ? "exception std::bad_alloc" : "unknown exception"), 5);
    }
}

TEST_F(EntryTest, InitialiseReadiesLearnerAndStoreAndFailsWhereTheThreadDoes) {
    framework().dumpProperty = "true";
    LogCapture log(3);
    const auto fault = [] { throw std::bad_alloc(); };
    const auto initialise = [&] { EXPECT_EQ(set(10), -1); };
    for (int at = 0; log.count("Learning thread Creation Failed") == 0; ++at) {
        framework().takeCalls();  // so that each time as many allocations come before the thread's
        ASSERT_TRUE(allocation_faults::happensAt(at, fault, initialise));
    }
    EXPECT_TRUE(mPeer.dumpEnabled);
    EXPECT_EQ(framework().takeCalls(), "open OrvoStatus; open OrvoLearning; open OrvoEP");
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
    FdMessage none{0};
    EXPECT_EQ(setData(6, app, &none), 0);
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
    framework().tables["OrvoLearning"] = {{app, {210}}, {app, {210}}, {app, {210}}, {app, {210}}};
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
    setData(1, app, launch);
    EXPECT_TRUE(comes("Waiting for Launch", 2));
    EXPECT_EQ(getData(4, app), 210);
    setData(3, app, nullptr);
    setData(11, app, nullptr);
    // The waiting thread is not woken: it takes one more launch, and ends.
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
