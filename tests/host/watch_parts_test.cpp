// The parts of watching: which processes are launches, the rules, the ledger.
#include <android/log.h>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <thread>

#include "host/process/process_tree.h"
#include "host/watch/app_scan.h"
#include "host/watch/launch_ledger.h"
#include "host/watch/launch_rules.h"
#include "host/watch/watch_cost.h"
#include "tests/host/program.h"
#include "tests/host/refusal.h"
#include "tests/support/device.h"

namespace host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class AppScanTest : public testing::Test {
protected:
    std::vector<std::string> look(const std::vector<pid_t>& tasks) {
        std::vector<std::string> packages;
        mLaunches = mScan.look(tasks);
        for (const AppProcess& launch : mLaunches)
            packages.push_back(launch.package);
        return packages;
    }

    // For a shell, $0 being the folder: waits for awaitName(), and takes the name.
    static std::string take(const std::string& name, const std::string& program) {
        return "until [ -e $0/" + name + " ]; do sleep .01; done; exec -a " + name + ' ' + program;
    }
    void awaitName(pid_t process, const std::string& name) const {
        std::ofstream(mFolder / name).flush();
        ASSERT_TRUE(eventually([&] { return shownName(process) == name; }));
    }

    const TempFolder mFolder;
    AppScan mScan;
    std::vector<AppProcess> mLaunches;
};

TEST_F(AppScanTest, ProcessIsOneLaunchOnceItShowsANameThatIsNeitherItsRuntimesNorItsParents) {
    const std::string fork = "(" + take("com.b", "sleep 60") + ") & echo $!; wait";
    Program app({"/bin/bash", "-c", take("com.a", "bash -c '" + fork + "' $0"), mFolder / "."});
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    awaitName(app.pid(), "com.a");
    EXPECT_THAT(look({app.pid()}), ElementsAre("com.a"));
    const AppProcess launch = mLaunches.at(0);
    EXPECT_TRUE(launch.isAlive());
    EXPECT_THAT(look({}), IsEmpty());
    EXPECT_THAT(look({app.pid()}), IsEmpty()) << "it came back, and was not launched";

    ASSERT_TRUE(eventually([&] { return app.out().find('\n') != std::string::npos; }));
    const pid_t child = std::stoi(app.out());
    EXPECT_THAT(look({child}), IsEmpty());
    awaitName(child, "com.b");
    EXPECT_THAT(look({app.pid(), child}), ElementsAre("com.b"));
    kill(child, SIGKILL);
    app.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return !launch.isAlive(); })) << "nor is it as a zombie";
}

// The list names it still, or names it again.
TEST_F(AppScanTest, NumberThatAnotherProcessHasByNowIsAnotherLaunch) {
    if (geteuid() != 0) GTEST_SKIP() << "only root chooses a process's number";
    device::Child first = device::Child::named("com.a");
    const pid_t pid = first.pid();
    EXPECT_THAT(look({pid}), ElementsAre("com.a"));
    const AppProcess before = mLaunches.at(0);
    for (const bool isListedBetween : {true, false}) {
        first.die();
        if (!isListedBetween) look({});
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // two ticks of its clock
        device::Child next = device::Child::named("com.a", pid);
        EXPECT_THAT(look({pid}), ElementsAre("com.a")) << isListedBetween;
        EXPECT_FALSE(before.isAlive());
    }
}

TEST_F(AppScanTest, WhatRanBeforeIsNoLaunchAndAThreadStandsForItsProcess) {
    const Program old({"/bin/bash", "-c", "exec -a com.old sleep 60"});
    ASSERT_TRUE(eventually([&] { return shownName(old.pid()) == "com.old"; }));
    AppScan later;
    EXPECT_THAT(later.look({old.pid()}), IsEmpty());

    // Where the kernel looks; shorter than any path of this program.
    const std::string before = program_invocation_name;
    std::memcpy(program_invocation_name, "com.self", sizeof "com.self");
    if (shownName(getpid()) != "com.self") GTEST_SKIP() << "an emulator's name is seen instead";
    std::thread([&] {
        const auto task = static_cast<pid_t>(syscall(SYS_gettid));
        EXPECT_THAT(look({1 << 22, task, getpid(), task}), ElementsAre("com.self"));
        EXPECT_EQ(mLaunches.at(0).pid, getpid());
    }).join();
    std::memcpy(program_invocation_name, before.c_str(), sizeof "com.self");
}

TEST(LaunchRulesTest, FirstRuleThatFitsCounts) {
    const LaunchRules rules = LaunchRules::parse(
        "# games\r\n\ncom.game.* 2\ncom.game.x 1 2\n\tcom.?.a\t2 -1 # note\ncom.l long\n", "r");
    EXPECT_EQ(rules.kindOf("com.game.x").type, 2);
    EXPECT_EQ(rules.kindOf("com.b.a").subtype, -1);
    EXPECT_EQ(rules.kindOf("com.l").type, 2);
    EXPECT_EQ(rules.kindOf("com.l").subtype, 1);
    EXPECT_EQ(rules.kindOf("com.other").type, 1);
    EXPECT_EQ(rules.kindOf("com.other").subtype, 0);
}

TEST(LaunchRulesTest, EveryFaultIsOneLineThatNamesThePlace) {
    for (const std::string bad :
         {"com.a", "com.a x", "com.a 1 2 3", "com.a 99999999999", "com/a 1", "com.a 1x", "com.a 7",
          "com.a 1 -1", "com.a 1 3", "com.a long 1", "com.a 2 -2", "com.a 2 3", "\xff\xfe 1"}) {
        const auto namesIt = AllOf(HasSubstr("r:2: "), Not(HasSubstr("\xff")));
        EXPECT_THAT([&] { LaunchRules::parse("com.x 1\n" + bad, "r"); }, refuses(kUsage, namesIt));
    }
    const TempFolder folder;
    std::ofstream(folder / "large") << std::string(2 << 20, '#');
    EXPECT_THAT([&] { LaunchRules::read(folder / "large"); }, refuses(kUsage, HasSubstr("1 MiB")));
    EXPECT_THAT([&] { LaunchRules::read(folder / "."); },
                refuses(kUsage, HasSubstr("it is a folder")));
}

class LedgerTest : public testing::Test {
protected:
    void learner(const char* message) {
        mLedger.take({ANDROID_LOG_DEBUG, "TAVO-ORVO-LEARNER", "statsCollector", message});
    }
    void entry(const char* message) {
        mLedger.take({ANDROID_LOG_DEBUG, "TAVO-ORVO", "setData", message});
    }
    // The library logs that it wakes its thread before the launch is handed over.
    void send(const std::string& package, const char* meanwhile = nullptr) {
        mLedger.offer({{package, 1, 1}, {}, 0});
        entry("waking up learning thread for appName:x");
        if (meanwhile != nullptr) learner(meanwhile);
        mLedger.settleOffer();
    }
    std::vector<std::string> ended() {
        std::vector<std::string> texts;
        for (const EndedLaunch& launch : mLedger.takeEnded()) {
            const LaunchOutcome learned = outcomeOf(launch.record, {});
            texts.push_back(launch.launch.app.package + ' ' +
                            outcomeText(launch.notLearned.value_or(learned)) +
                            (launch.record.countFailed() ? " uncounted" : ""));
        }
        return texts;
    }

    LaunchLedger mLedger;
};

TEST_F(LedgerTest, LaunchThatWaitsIsSupersededByALaterOneAndOnlyIt) {
    send("com.a");
    learner("Start Learning appName:com.a");
    EXPECT_EQ(mLedger.appIn(LaunchPhase::kHunting)->package, "com.a");
    send("com.b");
    send("com.c");
    learner("Decided Samples = 34. Starting collection ...");
    EXPECT_FALSE(mLedger.appIn(LaunchPhase::kHunting));
    learner("Learned Launch Endpoint for com.a = 300");
    learner("Waiting for Launch Event...");
    learner("Start Learning appName:com.c");
    EXPECT_THAT(ended(), ElementsAre("com.a stored", "com.b superseded"));
    send("com.d");
    mLedger.abandonWaiting();
    EXPECT_THAT(ended(), ElementsAre("com.d interrupted"));
    EXPECT_TRUE(mLedger.isBusy());
}

TEST_F(LedgerTest, LaunchTakenWhileTheNextIsBeingSentIsNotSuperseded) {
    send("com.a");
    send("com.b", "Start Learning appName:com.a");
    learner("Launch Endpoint could not determined for com.a");
    learner("Waiting for Launch Event...");
    learner("Start Learning appName:com.b");
    learner("Learned Launch Endpoint for com.b = 30");
    mLedger.take({ANDROID_LOG_ERROR, "TAVO-ORVO-DB", "writeAppSample",
                  "Failed to write sample for app com.b"});
    learner("Waiting for Launch Event...");
    EXPECT_THAT(ended(), ElementsAre("com.a undecided", "com.b store failed"));
    EXPECT_FALSE(mLedger.isBusy());
}

TEST_F(LedgerTest, CountThatFailedIsThatOfTheLaunchBeingSent) {
    send("com.a");
    learner("Start Learning appName:com.a");
    mLedger.offer({{"com.b", 1, 1}, {}, 0});
    mLedger.take({ANDROID_LOG_ERROR, "TAVO-ORVO-DB", "checkStatus",
                  "Failed to update status for app com.b"});
    entry("waking up learning thread for appName:com.b");
    mLedger.settleOffer();
    learner("Learned Launch Endpoint for com.a = 300");
    learner("Waiting for Launch Event...");
    learner("Start Learning appName:com.b");
    learner("Waiting for Launch Event...");
    EXPECT_THAT(ended(), ElementsAre("com.a stored", "com.b learning failed uncounted"));
}

TEST_F(LedgerTest, LaunchesThatTheLibraryDoesNotTakeEndAtOnce) {
    mLedger.offer({{"com.a", 1, 1}, {}, 0});
    mLedger.settleOffer();
    mLedger.offer({{"com.b", 1, 1}, {}, 0});
    entry("Erased learning for com.b");
    mLedger.settleOffer();
    EXPECT_THAT(ended(), ElementsAre("com.a already learned", "com.b launch limit reached"));
    EXPECT_FALSE(mLedger.isBusy());
}

TEST(WatchCostTest, CostIsReadBehindAHostileName) {
    const char* const stat = "12 (a) b) S 1 1 1 0 -1 0 0 0 0 0 30 20 0 0 20 0 2 0 500 9000 1000 0";
    const std::optional<WatchCost> cost = parseWatchCost(stat, 15'000, {100, 4096});
    ASSERT_TRUE(cost);
    EXPECT_EQ(renderText(12, *cost),
              "process 12: 5.00 % of a core over 10.0 s, 4.1 MB of memory\n");
    EXPECT_FALSE(parseWatchCost("12 (a) S 1", 15'000, {}));
}

}  // namespace
}  // namespace host
