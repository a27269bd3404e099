// The parts of watching: which processes are launches, the rules, the ledger.
#include <android/log.h>
#include <csignal>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <linux/sched.h>
#include <map>
#include <sstream>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "host/app_scan.h"
#include "host/exit_code.h"
#include "host/launch_ledger.h"
#include "host/launch_rules.h"
#include "host/package_name.h"
#include "tests/host/program.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// As an application's runtime does it: over the command line in place.
void showName(const std::string& name) {
    std::istringstream stat(contentOf("/proc/self/stat"));
    const std::vector<std::string> fields{std::istream_iterator<std::string>(stat), {}};
    char* const start = reinterpret_cast<char*>(std::stoull(fields.at(47)));
    char* const end = reinterpret_cast<char*>(std::stoull(fields.at(48)));
    ASSERT_LT(name.size(), static_cast<std::size_t>(end - start));
    std::memset(start, 0, static_cast<std::size_t>(end - start));
    std::memcpy(start, name.data(), name.size());
}

// A copy of this process that takes names, and copies of itself, on command.
class Puppet {
public:
    explicit Puppet(pid_t wantedPid = 0) {
        int sockets[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) std::abort();
        mSocket = sockets[0];
        mPid = wantedPid > 0 ? forkAs(wantedPid) : ::fork();
        close(sockets[mPid == 0 ? 0 : 1]);
        if (mPid == 0) obey(sockets[1]);
    }
    ~Puppet() { end(); }
    Puppet(const Puppet&) = delete;
    Puppet& operator=(const Puppet&) = delete;

    void rename(const std::string& name) { command('n' + name); }
    pid_t fork() { return std::stoi(command("f")); }  // the copy obeys from then on
    pid_t pid() const { return mPid; }
    void end() {
        if (mSocket < 0) return;
        close(std::exchange(mSocket, -1));
        if (mPid > 0) waitpid(mPid, nullptr, 0);
    }

private:
    static pid_t forkAs(pid_t wantedPid) {
        clone_args arguments{};
        arguments.exit_signal = SIGCHLD;
        arguments.set_tid = reinterpret_cast<std::uint64_t>(&wantedPid);
        arguments.set_tid_size = 1;
        return static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
    }

    std::string command(const std::string& text) const {
        char answer[32] = {};
        if (send(mSocket, text.data(), text.size(), MSG_NOSIGNAL) < 0) std::abort();
        if (recv(mSocket, answer, sizeof answer - 1, 0) < 1) std::abort();
        return answer;
    }

    [[noreturn]] static void obey(int socket) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        char text[256];
        for (ssize_t length = 0; (length = recv(socket, text, sizeof text, 0)) > 0;) {
            if (text[0] == 'n') showName({text + 1, static_cast<std::size_t>(length) - 1});
            const pid_t parent = getpid();
            if (text[0] == 'f' && ::fork() != 0) {
                wait(nullptr);
                _exit(0);
            }
            if (getpid() != parent) prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string answer = std::to_string(getpid());
            if (send(socket, answer.data(), answer.size(), 0) < 0) break;
        }
        _exit(0);
    }

    pid_t mPid = -1;
    int mSocket = -1;
};

std::vector<std::string> packagesOf(const std::vector<AppProcess>& launches) {
    std::vector<std::string> packages;
    for (const AppProcess& launch : launches)
        packages.push_back(launch.package);
    return packages;
}

class AppScanTest : public testing::Test {
protected:
    std::vector<std::string> look(const std::vector<pid_t>& tasks) {
        return packagesOf(mScan.look(tasks));
    }
    AppScan mScan;
};

TEST_F(AppScanTest, ProcessIsOneLaunchWhenItFirstShowsItsNameAndNotWhenItComesBack) {
    Puppet app;
    EXPECT_THAT(look({app.pid()}), IsEmpty());  // still under its runtime's name
    app.rename("com.a:service");
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    app.rename("com.a");
    const std::vector<AppProcess> launches = mScan.look({app.pid()});
    ASSERT_EQ(packagesOf(launches), std::vector<std::string>{"com.a"});
    EXPECT_TRUE(launches[0].isAlive());
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    EXPECT_THAT(look({}), IsEmpty());
    EXPECT_THAT(look({app.pid()}), IsEmpty());
    app.end();
    EXPECT_FALSE(launches[0].isAlive());
}

TEST_F(AppScanTest, ForkUnderItsParentsNameIsALaunchOnlyOnceItShowsItsOwn) {
    Puppet app;
    app.rename("com.a");
    EXPECT_THAT(look({app.pid()}), ElementsAre("com.a"));
    const pid_t child = app.fork();
    EXPECT_THAT(look({app.pid(), child}), IsEmpty());
    EXPECT_THAT(look({child}), IsEmpty());
    app.rename("com.b");  // the copy's
    EXPECT_THAT(look({app.pid(), child}), ElementsAre("com.b"));
}

TEST_F(AppScanTest, WhatRanBeforeIsNoLaunchAndAThreadStandsForItsProcess) {
    Puppet old;
    old.rename("com.old");
    AppScan later;
    EXPECT_THAT(later.look({old.pid()}), IsEmpty());

    showName("com.self");
    std::thread thread([&] {
        const auto task = static_cast<pid_t>(syscall(SYS_gettid));
        const std::vector<AppProcess> launches = mScan.look({1 << 22, task, getpid(), task});
        ASSERT_EQ(packagesOf(launches), std::vector<std::string>{"com.self"});
        EXPECT_EQ(launches[0].pid, getpid());
    });
    thread.join();
}

TEST_F(AppScanTest, ReusedNumberIsANewLaunch) {
    Puppet first;
    first.rename("com.a");
    const pid_t pid = first.pid();
    EXPECT_THAT(look({pid}), ElementsAre("com.a"));
    first.end();
    usleep(30'000);  // start times count in clock ticks
    Puppet second(pid);
    if (second.pid() != pid) GTEST_SKIP() << "this user may not choose a process's number";
    second.rename("com.a");
    EXPECT_THAT(look({pid}), ElementsAre("com.a")) << "listed all the time";
    EXPECT_THAT(look({}), IsEmpty());
    second.end();
    usleep(30'000);
    Puppet third(pid);
    ASSERT_EQ(third.pid(), pid);
    third.rename("com.a");
    EXPECT_THAT(look({pid}), ElementsAre("com.a")) << "not listed in between";
}

TEST(PackageLikeTest, PathsProgramsAndSecondaryProcessesAreNoPackages) {
    for (const char* good : {"com.example.app", "a.b", "com.Example_2.a1"})
        EXPECT_TRUE(looksLikePackage(good)) << good;
    for (const std::string& bad :
         {std::string(), std::string("bash"), std::string("python3.11"), std::string("/a.b"),
          std::string("com.a:s"), std::string("com.a "), std::string(".com"), std::string("com."),
          std::string("a..b"), std::string("<pre.initialized>"), "a." + std::string(300, 'b')})
        EXPECT_FALSE(looksLikePackage(bad)) << bad;
}

TEST(LaunchRulesTest, FirstRuleThatFitsCounts) {
    const LaunchRules rules = LaunchRules::parse(
        "# games\r\n\ncom.game.* 2\ncom.game.x 7 7\n\tcom.?.a\t1 -2 # note\n", "r");
    EXPECT_EQ(rules.kindOf("com.game.x").type, 2);
    EXPECT_EQ(rules.kindOf("com.b.a").subtype, -2);
    EXPECT_EQ(rules.kindOf("com.other").type, 1);
    EXPECT_EQ(rules.kindOf("com.other").subtype, 0);
}

TEST(LaunchRulesTest, EveryFaultIsOneLineWithFileAndLine) {
    for (const std::string bad : {"com.a", "com.a x", "com.a 1 2 3", "com.a 99999999999", "com/a 1",
                                  "com.a 1x", "\xff\xfe 1", "com.a 1,2"}) {
        try {
            LaunchRules::parse("com.x 1\n" + bad + "\n", "file");
            ADD_FAILURE() << bad;
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), kUsage) << bad;
            EXPECT_THAT(error.what(), testing::StartsWith("file:2: ")) << bad;
            EXPECT_EQ(std::string(error.what()).find('\xff'), std::string::npos) << bad;
        }
    }
}

TEST(LaunchRulesTest, BinaryHugeAndUnreadableFilesAreRefused) {
    const TempFolder folder;
    std::ofstream(folder / "binary") << "com.a 1\n\x01\n";
    std::ofstream(folder / "huge") << std::string(2 << 20, '#');
    std::ofstream(folder / "empty");
    EXPECT_EQ(LaunchRules::read(folder / "empty").kindOf("a.b").type, 1);
    for (const auto& [name, why] : std::map<std::string, std::string>{{"binary", "binary:2: "},
                                                                      {"huge", "1 MiB"},
                                                                      {"missing", "No such file"},
                                                                      {".", "directory"}}) {
        try {
            LaunchRules::read(folder / name);
            ADD_FAILURE() << name;
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), kUsage);
            EXPECT_THAT(error.what(), HasSubstr(why)) << name;
        }
    }
}

class LedgerTest : public testing::Test {
protected:
    void learner(const char* message, int priority = ANDROID_LOG_DEBUG) {
        mLedger.take({priority, "TAVO-ORVO-LEARNER", "statsCollector", message});
    }
    void entry(const char* message) {
        mLedger.take({ANDROID_LOG_DEBUG, "TAVO-ORVO", "setData", message});
    }
    // The library logs that it wakes its thread before the launch is handed over.
    void send(const std::string& package, const char* answer, const char* meanwhile = nullptr) {
        mLedger.offer({{package, 1, 1}, {}, 0});
        if (answer != nullptr) entry(answer);
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

    static constexpr const char* kWoken = "waking up learning thread for appName:x";
    LaunchLedger mLedger;
};

TEST_F(LedgerTest, LaunchThatWaitsIsSupersededByALaterOneAndOnlyIt) {
    send("com.a", kWoken);
    learner("Start Learning appName:com.a");
    EXPECT_EQ(mLedger.hunted()->package, "com.a");
    send("com.b", kWoken);
    send("com.c", kWoken);
    learner("Decided Samples = 34. Starting collection ...");
    EXPECT_FALSE(mLedger.hunted());
    learner("Learned Launch Endpoint for com.a = 300");
    learner("Waiting for Launch Event...");
    EXPECT_THAT(ended(), ElementsAre("com.a stored"));
    learner("Start Learning appName:com.c");
    EXPECT_THAT(ended(), ElementsAre("com.b superseded"));
    send("com.d", kWoken);
    mLedger.abandonWaiting();
    EXPECT_THAT(ended(), ElementsAre("com.d interrupted"));
    EXPECT_TRUE(mLedger.isBusy());
}

TEST_F(LedgerTest, LaunchTakenWhileTheNextIsBeingSentIsNotSuperseded) {
    send("com.a", kWoken);
    send("com.b", kWoken, "Start Learning appName:com.a");
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
    send("com.a", nullptr);
    send("com.b", "Erased learning for com.b");
    EXPECT_THAT(ended(), ElementsAre("com.a already learned", "com.b launch limit reached"));
    EXPECT_FALSE(mLedger.isBusy());
}

}  // namespace
}  // namespace host
