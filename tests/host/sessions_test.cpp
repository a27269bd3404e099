// What watch, learn and erase do about what the library tells, in the private root
// with real processes: the library is scripted.
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>

#include "host/base/interruption.h"
#include "host/base/steady_clock.h"
#include "host/learn/learn_session.h"
#include "host/process/task_list.h"
#include "host/verbs/generation_steps.h"
#include "host/watch/watch_session.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/made_up_store.h"
#include "tests/host/refusal.h"
#include "tests/host/scripted_library.h"
#include "tests/support/device.h"

namespace host {
namespace {

using device::Child;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kStatus = "OrvoStatus";
constexpr const char* kLearning = "OrvoLearning";
constexpr const char* kFinal = "OrvoEP";

const LibraryOptions kLibrary{SCRIPTED_LIBRARY, 0};

ScriptedLibrary& library() {
    void* const file = dlopen(SCRIPTED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return *reinterpret_cast<decltype(&scriptedLibrary)>(dlsym(file, "scriptedLibrary"))();
}

// What the library says when it is stopped.
std::int32_t endLaunch(const std::string& package) {
    ScriptedLibrary::learner("Abort Detected for " + package + '!');
    ScriptedLibrary::learner("Waiting for Launch Event...");
    return 0;
}

class SessionTest : public testing::Test {
protected:
    SessionTest() {
        mState.create();
        addRow(mState.database(), kStatus, "com.other", {0, 1});
    }

    // Runs `session` in a process of its own, for it takes signals, within ten
    // seconds. Its failures are the test's, and so must what it tells be.
    static void inHost(const std::function<void()>& session, const std::string& told = "") {
        const auto run = [&] {
            alarm(10);
            noteInterruptions();
            session();
            const auto& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
            for (int i = 0; i < result.total_part_count(); ++i)
                std::fprintf(stderr, "%s\n", result.GetTestPartResult(i).summary());
            _exit(HasFailure() ? 1 : 0);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), told);
    }

    /// The library hunts for what is launched until it is stopped.
    static void hunt(const std::function<void()>& meanwhile = [] {}) {
        library().script[ORVO_SET_LAUNCH] = [=](const std::string& package) {
            ScriptedLibrary::takes(package);
            meanwhile();
            return 0;
        };
        library().script[ORVO_SET_STOP] = endLaunch;
    }

    /// And finds that process, and learns it.
    static void learnFrom(pid_t process) {
        library().script[ORVO_SET_LAUNCH] = [=](const std::string& package) {
            ScriptedLibrary::learns(package, process);
            return 0;
        };
    }

    const TempFolder mFolder;
    const StateFolder mState{mFolder / "state"};
};

class WatchSessionTest : public SessionTest {
protected:
    WatchSessionTest() {
        mOptions.intervalMs = 5;
        mOptions.lookAfterMs = 0;
        mOptions.tell = [this](const LaunchEntry& entry) {
            mTold += entry.package + ' ' + entry.outcome + "; ";
            raise(SIGTERM);
        };
        mOptions.generationOf = [](const std::string&, OrvoLibrary&) { return Generation{}; };
    }

    // Watches the launch of com.a, until one is told of.
    void watch(const std::function<void(Child&)>& script) {
        LogSink log("", 0, false);
        WatchSession session(mOptions, mState, log, kLibrary);
        Child app = Child::named("com.a");
        device::setTasks(std::to_string(1 << 22) + '\n' + std::to_string(app.pid()) + '\n');
        script(app);
        session.run();
    }

    WatchOptions mOptions;
    std::string mTold;
};

// A stop is lost when the library's thread has not yet taken the launch.
TEST_F(WatchSessionTest, HuntForAProcessThatIsGoneIsStoppedUntilItEnds) {
    inHost([&] {
        std::vector<double> stopsMs;
        watch([&](Child& app) {
            hunt([&] { app.die(); });
            library().script[ORVO_SET_STOP] = [&](const std::string&) {
                stopsMs.push_back(steadyMs());
                return stopsMs.size() == 2 ? endLaunch("com.a") : 0;
            };
        });
        EXPECT_EQ(library().calls, "init; launch com.a 1 0; stop com.a; stop com.a; deinit; ");
        EXPECT_GE(stopsMs.at(1) - stopsMs.at(0), kStopRepeatMs);
        EXPECT_EQ(mTold, "com.a exited early; ");
        EXPECT_EQ(contentOf(kTaskListPath).find("4194304"), std::string::npos)
            << "what is gone must not pass its place on";
    });
}

// The library must be idle when it is shut down.
TEST_F(WatchSessionTest, HuntForALivingProcessGoesOnUntilTheEndStopsIt) {
    addRow(mState.database(), kStatus, "com.a", {1, 9});
    addRow(mState.database(), kFinal, "com.a", {450});
    inHost([&] {
        mOptions.tell = [&](const LaunchEntry& entry) { mTold = toJsonLine(entry); };
        std::thread end;
        watch([&](Child&) {
            hunt([&] {
                end = std::thread([] {
                    sleepMs(100);
                    raise(SIGTERM);
                });
            });
        });
        end.join();
        EXPECT_EQ(library().calls, "init; launch com.a 1 0; stop -; deinit; ");
        EXPECT_THAT(mTold, HasSubstr(R"("outcome":"interrupted","endpoint_ms":null,)"
                                     R"("final_endpoint_ms":450,)"));
        EXPECT_EQ(mTold, contentOf(mState.history()));
    });
}

TEST_F(WatchSessionTest, LaunchThatTheStoreDidNotCountIsToldAndNoOther) {
    const auto scriptOf = [](bool isCounted) {
        return [=](Child&) {
            library().script[ORVO_SET_LAUNCH] = [=](const std::string& package) {
                if (!isCounted)
                    ScriptedLibrary::fails("TAVO-ORVO-DB", "checkStatus",
                                           "Failed to update status for app " + package);
                ScriptedLibrary::takes(package);
                return endLaunch(package);
            };
        };
    };
    inHost([&] { watch(scriptOf(false)); }, "did not count a launch of com.a");
    inHost([&] { watch(scriptOf(true)); }, "^orvo-host: cost: [^\n]* 1 launches\n$");
}

TEST_F(WatchSessionTest, LaunchIsLookedAtBehindItsWindowAndToldWithItsRuleAndGeneration) {
    inHost([&] {
        mOptions.lookAfterMs = 60;
        mOptions.rules = LaunchRules::parse("com.a 1 2", "rules");
        mOptions.generationOf = [](const std::string&, OrvoLibrary&) {
            return Generation{3, "v3"};
        };
        std::size_t seen = 0;
        mOptions.keep = [&](const WatchedLaunch& watched) {
            EXPECT_EQ(watched.endpointMs, 300);
            EXPECT_EQ(watched.ended.recorded.sampledAtMs.size(), 12U);
            seen = watched.seen.memoryKb.size();
        };
        watch([](Child& app) { learnFrom(app.pid()); });
        EXPECT_GE(seen, 14U);
        EXPECT_EQ(library().calls, "init; launch com.a 1 2; deinit; ");
        const std::string history = contentOf(mState.history());
        EXPECT_THAT(history, HasSubstr(R"("launch_subtype":2,"outcome":"stored","endpoint_ms":300,)"
                                       R"("final_endpoint_ms":null,"since_start_ms":)"));
        EXPECT_THAT(history, AllOf(Not(HasSubstr(R"("since_start_ms":null)")),
                                   HasSubstr(R"("generation":3,"label":"v3"})")));
    });
}

// Taken out of the list of launches before they are told: none is told twice.
TEST_F(WatchSessionTest, LaunchesThatCannotBeToldAnyMoreAreInTheHistoryOnceEach) {
    inHost([&] {
        mOptions.tell = [](const LaunchEntry&) { throw HostError(kEnvironment, "nobody listens"); };
        std::optional<Child> other;
        const auto addOther = [&](Child&) {
            other.emplace(Child::named("com.b"));
            std::ofstream(kTaskListPath, std::ios::app) << other->pid() << '\n';
        };
        EXPECT_THAT([&] { watch(addOther); }, refuses(kEnvironment, HasSubstr("nobody listens")));
        const std::string history = contentOf(mState.history());
        EXPECT_THAT(history,
                    AllOf(HasSubstr(R"("package":"com.a")"), HasSubstr(R"("package":"com.b")")));
        EXPECT_EQ(std::count(history.begin(), history.end(), '\n'), 2);
    });
}

TEST_F(WatchSessionTest, PackageThatAnotherLearnsIsLeftToIt) {
    PackageLocks locks(mState.packageLocks());
    ASSERT_TRUE(locks.take("com.a"));
    inHost(
        [&] {
            watch([](Child&) {});
            EXPECT_EQ(library().calls, "init; deinit; ");
            EXPECT_EQ(mTold, "com.a in use elsewhere; ");
        },
        "process " + std::to_string(getpid()) + " ");
}

class LearnSessionTest : public SessionTest {
protected:
    LearnSessionTest() {
        mOptions.settings.package = "com.a";
        mOptions.settings.lookAfterMs = 0;
        mOptions.launches = 1;
        mOptions.kind = LaunchKind{};
        mOptions.begin = [](OrvoLibrary&) { return Generation{}; };
    }

    LearnReport learn(const std::vector<std::string>& command) {
        mOptions.settings.command = {command.front(), command};
        LogSink log("", 0, false);
        Progress progress(Progress::Style::kLines);
        const CommandOutput output(mState);
        return LearnSession(mOptions, mState, output, log, kLibrary, progress).run();
    }

    LearnOptions mOptions;
};

TEST_F(LearnSessionTest, CommandThatEndedIsNotHuntedForAnyLonger) {
    inHost([&] {
        hunt();
        const LearnReport report = learn({"/bin/true"});
        EXPECT_EQ(library().calls, "init; launch com.a 1 0; stop com.a; deinit; ");
        EXPECT_STREQ(outcomeText(report.launches.at(0).outcome), "exited early");
    });
}

TEST_F(LearnSessionTest, LaunchThatTheStoreDidNotKeepIsTheLastAndItsCauseIsTold) {
    inHost(
        [&] {
            library().script[ORVO_SET_LAUNCH] = [](const std::string& package) {
                ScriptedLibrary::takes(package);
                ScriptedLibrary::learner("Learned Launch Endpoint for " + package + " = 300");
                ScriptedLibrary::fails("TAVO-DB", "judge", "disk I/O error");
                ScriptedLibrary::fails("TAVO-ORVO-DB", "writeAppSample",
                                       "Failed to write sample for app " + package);
                ScriptedLibrary::learner("Waiting for Launch Event...");
                return 0;
            };
            mOptions.launches = 3;
            const LearnReport report = learn({"/bin/sleep", "60"});
            ASSERT_EQ(report.launches.size(), 1U);
            EXPECT_STREQ(outcomeText(report.launches[0].outcome), "store failed");
            EXPECT_FALSE(report.launches[0].endpointMs);
            EXPECT_THAT(report.launches[0].storeFault, HasSubstr("disk I/O error; free the disk"));
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process was left";
            EXPECT_EQ(contentOf(kTaskListPath), "");
        },
        "launch 1/3: started\nlaunch 1/3: store failed");
}

TEST_F(LearnSessionTest, LaunchIsKeptAndNotedAndTheNextSessionGoesOnInItsWindow) {
    addRow(mState.database(), kLearning, "com.a", {300});
    const auto session = [&] {
        learnFrom(getpid());
        mOptions.settings.lookAfterMs = 60;
        std::size_t kept = 0;
        mOptions.keep = [&](const MadeLaunch& launch) {
            EXPECT_EQ(launch.recorded.sampledAtMs.size(), 12U);
            kept = launch.result.judged->seen.memoryKb.size();
        };
        const LearnReport report = learn({"/bin/sleep", "60"});
        EXPECT_GE(kept, 14U);
        EXPECT_EQ(report.launches.at(0).endpointMs, 300);
        EXPECT_TRUE(report.launches[0].assessment.sinceStartMs);
        EXPECT_EQ(report.samplesStored, 1);
        EXPECT_EQ(report.inheritance.judged, report.kindBefore ? 2U : 1U);
        EXPECT_EQ(library().calls, "init; launch com.a 1 2; deinit; ");
    };
    mOptions.kind = LaunchKind{1, 2};
    inHost(session);
    EXPECT_THAT(contentOf(mState.history()),
                HasSubstr(R"("launch_subtype":2,"outcome":"stored","endpoint_ms":300)"));
    mOptions.kind.reset();
    inHost(session, "launches stored already: 1 of 5; going on with their window, the extended");
}

TEST_F(LearnSessionTest, InterruptedHuntIsStoppedAndItsLaunchIsNoFailureOfTheCommand) {
    inHost([&] {
        hunt([] { raise(SIGTERM); });
        mOptions.settings.follow = "sleep";
        const LearnReport report = learn({"/bin/sleep", "60"});
        EXPECT_STREQ(outcomeText(report.launches.at(0).outcome), "interrupted");
        EXPECT_THAT(contentOf(mState.history()), HasSubstr(R"("outcome":"interrupted")"));
    });
}

TEST_F(LearnSessionTest, ProbingLaunchEndsWithItsProcessOrWhereNoNameCanBeFollowed) {
    mOptions.kind.reset();
    inHost([&] {
        library().script[ORVO_SET_LAUNCH] = [](const std::string& package) {
            ScriptedLibrary::takes(package);
            return endLaunch(package);
        };
        EXPECT_FALSE(learn({"/bin/true"}).probe);
        mOptions.settings.follow = "/bin/sleep";
        const LearnReport ended = learn({"/bin/sleep", "0.5"});
        ASSERT_TRUE(ended.probe);
        EXPECT_TRUE(ended.probe->hasEnded);
        EXPECT_EQ(windowOf(*ended.kind), Window::kShort);
        mOptions.settings.follow.clear();
        library().calls.clear();
        const std::string noPackage = mState.path() + "/no\tpackage";
        ASSERT_EQ(symlink("/bin/sleep", noPackage.c_str()), 0);
        const LearnReport lost = learn({noPackage, "60"});
        EXPECT_STREQ(outcomeText(lost.launches.at(0).outcome), "not found");
        EXPECT_THAT(lost.namesShown, testing::ElementsAre(noPackage));
        EXPECT_EQ(library().calls, "init; deinit; ");
    });
}

TEST_F(LearnSessionTest, DamagedPackageIsNotLaunched) {
    addRow(mState.database(), kStatus, "com.a", {1, 9});
    inHost([&] {
        EXPECT_THAT([&] { learn({"/bin/true"}); },
                    refuses(kEnvironment, HasSubstr("damaged; run: orvo-host erase com.a")));
        EXPECT_EQ(library().calls, "init; deinit; ");
    });
}

using EraseTest = SessionTest;

// The library tells of no failure.
TEST_F(EraseTest, PackageThatIsStillThereIsAFailureAndItsGenerationIsUnfinished) {
    addRow(mState.database(), kLearning, "com.a", {300});
    inHost([&] {
        LogSink log("", 0, false);
        OrvoLibrary orvo(kLibrary, mState, log);
        const GenerationSteps steps(mState, log);
        library().script[ORVO_SET_ERASE] = [](const std::string&) {
            ScriptedLibrary::fails("TAVO-DB", "judge", "disk I/O error");
            return 0;
        };
        EXPECT_THAT([&] { steps.begin("com.a", "v2", orvo); },
                    refuses(kEnvironment, HasSubstr("com.a could not be erased: disk I/O error")));
        EXPECT_EQ(contentOf(mState.history()), "");
        library().script[ORVO_SET_ERASE] = [&](const std::string&) {
            std::filesystem::remove(mState.database());
            addRow(mState.database(), kStatus, "com.other", {0, 1});
            return 0;
        };
        EXPECT_EQ(steps.newest("com.a", orvo).label, "v2");
        EXPECT_THAT(contentOf(mState.history()), HasSubstr(R"("outcome":"erased")"));
    });
}

using LibraryTest = SessionTest;

TEST_F(LibraryTest, StoreOrThreadThatFailsIsToldAndTheLibraryWritesNoDumps) {
    inHost([&] {
        LogSink log("", 0, false);
        std::ofstream(mState.properties()) << "debug.vendor.zorv.enable.lm_csv_dump=true\nx=1\n";
        { const OrvoLibrary orvo(kLibrary, mState, log); }
        EXPECT_EQ(contentOf(mState.properties()), "x=1\n");
        library().script[ORVO_SET_INIT] = [](const std::string&) {
            ScriptedLibrary::fails("TAVO-DB", "judge", "disk I/O error");
            ScriptedLibrary::fails("TAVO-ORVO-DB", "openTable", "Could not open DB:OrvoEP");
            return 0;
        };
        EXPECT_THAT([&] { OrvoLibrary(kLibrary, mState, log); },
                    refuses(kEnvironment, HasSubstr("does not open: disk I/O error; free")));
        library().script[ORVO_SET_INIT] = [](const std::string&) { return -1; };
        EXPECT_THAT([&] { OrvoLibrary(kLibrary, mState, log); },
                    refuses(kEnvironment, HasSubstr("ulimit -u")));
        EXPECT_EQ(library().calls, "init; deinit; init; deinit; init; ");
    });
}

}  // namespace
}  // namespace host
