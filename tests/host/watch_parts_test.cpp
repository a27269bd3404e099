// The parts of watching: which processes are launches, the rules, the ledger.
#include <android/log.h>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <thread>

#include "host/app_scan.h"
#include "host/exit_code.h"
#include "host/launch_ledger.h"
#include "host/launch_rules.h"
#include "host/process_tree.h"
#include "tests/host/program.h"
#include "tests/support/device.h"

namespace host {
namespace {

using device::Child;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

TEST_F(AppScanTest, ProcessIsOneLaunchWhenItFirstShowsItsNameAndNotWhenItComesBack) {
    const std::string last = take("com.a", "sleep 60");
    Program app(
        {"/bin/bash", "-c", take("com.a:service", "bash -c '" + last + "' $0"), mFolder / "."});
    EXPECT_THAT(look({app.pid()}), IsEmpty()) << "still under its runtime's name";
    awaitName(app.pid(), "com.a:service");
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    awaitName(app.pid(), "com.a");
    EXPECT_THAT(look({app.pid()}), ElementsAre("com.a"));
    const AppProcess launch = mLaunches.at(0);
    EXPECT_TRUE(launch.isAlive());
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    EXPECT_THAT(look({}), IsEmpty());
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    app.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return !launch.isAlive(); })) << "nor is it as a zombie";
}

TEST_F(AppScanTest, ForkUnderItsParentsNameIsALaunchOnlyOnceItShowsItsOwn) {
    const std::string fork = "(" + take("com.b", "sleep 60") + ") & echo $!; wait";
    Program app({"/bin/bash", "-c", "exec -a com.a bash -c '" + fork + "' $0", mFolder / "."});
    ASSERT_TRUE(eventually([&] { return app.out().find('\n') != std::string::npos; }));
    const pid_t child = std::stoi(app.out());
    EXPECT_THAT(look({app.pid(), child}), ElementsAre("com.a"));
    EXPECT_THAT(look({child}), IsEmpty());
    awaitName(child, "com.b");
    EXPECT_THAT(look({app.pid(), child}), ElementsAre("com.b"));
    kill(child, SIGKILL);
}

TEST_F(AppScanTest, WhatRanBeforeIsNoLaunchAndAThreadStandsForItsProcess) {
    const Child old = Child::named("com.old");
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

TEST_F(AppScanTest, ReusedNumberIsANewLaunch) {
    Child first = Child::named("com.a");
    const pid_t pid = first.pid();
    const auto replace = [&](Child& gone) {
        gone.die();
        usleep(30'000);  // start times count in clock ticks
        return Child::named("com.a", pid);
    };
    EXPECT_THAT(look({pid}), ElementsAre("com.a"));
    try {
        Child second = replace(first);
        EXPECT_THAT(look({pid}), ElementsAre("com.a")) << "listed all the time";
        EXPECT_THAT(look({}), IsEmpty());
        const Child third = replace(second);
        EXPECT_THAT(look({pid}), ElementsAre("com.a")) << "not listed in between";
    } catch (const std::runtime_error&) {
        GTEST_SKIP() << "this user may not choose a process's number";
    }
}

TEST(LaunchRulesTest, FirstRuleThatFitsCounts) {
    const LaunchRules rules = LaunchRules::parse(
        "# games\r\n\ncom.game.* 2\ncom.game.x 7 7\n\tcom.?.a\t1 -2 # note\n", "r");
    EXPECT_EQ(rules.kindOf("com.game.x").type, 2);
    EXPECT_EQ(rules.kindOf("com.b.a").subtype, -2);
    EXPECT_EQ(rules.kindOf("com.other").type, 1);
    EXPECT_EQ(rules.kindOf("com.other").subtype, 0);
}

TEST(LaunchRulesTest, EveryFaultIsOneLineThatNamesThePlace) {
    const TempFolder folder;
    const std::string file = folder / "rules";
    const auto expectRefused = [&](const std::string& path, const std::string& why) {
        try {
            LaunchRules::read(path);
            ADD_FAILURE() << why;
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), kUsage);
            EXPECT_THAT(error.what(), HasSubstr(why));
            EXPECT_THAT(error.what(), testing::Not(HasSubstr("\xff")));
        }
    };
    for (const char* bad : {"com.a", "com.a x", "com.a 1 2 3", "com.a 99999999999", "com/a 1",
                            "com.a 1x", "\xff\xfe 1", "com.a 1,2", "# \x01"}) {
        std::ofstream(file) << "com.x 1\n" << bad << '\n';
        expectRefused(file, file + ":2: ");
    }
    std::ofstream(file) << std::string(2 << 20, '#');
    expectRefused(file, "1 MiB");
    expectRefused(folder / "missing", "No such file");
    expectRefused(folder / ".", "directory");
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
            const LaunchOutcome outcome =
                launch.notLearned ? *launch.notLearned
                                  : outcomeOf(launch.record, {false, false, !launch.storeFailed});
            texts.push_back(launch.launch.app.package + ' ' + outcomeText(outcome));
        }
        return texts;
    }

    LaunchLedger mLedger;
};

TEST_F(LedgerTest, LaunchThatWaitsIsSupersededByALaterOneAndOnlyIt) {
    send("com.a");
    learner("Start Learning appName:com.a");
    EXPECT_EQ(mLedger.hunted()->package, "com.a");
    send("com.b");
    send("com.c");
    learner("Decided Samples = 34. Starting collection ...");
    EXPECT_FALSE(mLedger.hunted());
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

TEST_F(LedgerTest, LaunchesThatTheLibraryDoesNotTakeEndAtOnce) {
    mLedger.offer({{"com.a", 1, 1}, {}, 0});
    mLedger.settleOffer();
    mLedger.offer({{"com.b", 1, 1}, {}, 0});
    entry("Erased learning for com.b");
    mLedger.settleOffer();
    EXPECT_THAT(ended(), ElementsAre("com.a already learned", "com.b launch limit reached"));
    EXPECT_FALSE(mLedger.isBusy());
}

}  // namespace
}  // namespace host
