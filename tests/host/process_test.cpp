// What the host reads of processes, tells them, and lists of them.
#include <csignal>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/process/command.h"
#include "host/process/package_name.h"
#include "host/process/process_tree.h"
#include "host/process/shell.h"
#include "host/process/task_list.h"
#include "host/watch/app_scan.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/elsewhere.h"
#include "tests/host/program.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(PackageNameTest, NamesThatTheLogOrTheOutputCannotCarryAreRefused) {
    const std::string longest(255, 'a');
    for (const std::string& good : {std::string("/usr/b in/'\"`%\xc3\xa4"), longest})
        EXPECT_EQ(packageNameFault(good), "") << good;
    for (const std::string& bad : {std::string(), std::string("a\nb"), longest + 'a'})
        EXPECT_NE(packageNameFault(bad), "") << bad;
}

TEST(PackageNameTest, PathsProgramsAndSecondaryProcessesAreNoPackages) {
    for (const char* good : {"com.example.app", "a.b", "com.Example_2.aZ19"})
        EXPECT_TRUE(looksLikePackage(good)) << good;
    const std::string tooLong = "a." + std::string(300, 'b');
    for (const char* bad : {"", "bash", "python3.11", "/a.b", "com.a:s", "com.a ", ".com", "com.",
                            "a..b", "<pre.initialized>", tooLong.c_str()})
        EXPECT_FALSE(looksLikePackage(bad)) << bad;
}

TEST(ProcessStatTest, ParentIsFoundBehindAHostileName) {
    const auto stat = parseProcessStat("12 (a) R 7 (b) S 34 12 12 0");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->parent, 34);
    for (const char* bad : {"", "12 (a", "12 (a) ", "12 (a) S ", "12 (a) S x"})
        EXPECT_FALSE(parseProcessStat(bad)) << bad;
}

// While one lives.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const rlimit none{0, mBefore.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit mBefore{};
};

TEST(ProcFileTest, LivingProcessIsNotTakenForGoneWhenDescriptorsRunOut) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the undefined-behaviour sanitizer opens a pipe to look at a thrown object";
#endif
    const auto withoutDescriptors = [](auto look) {
        return [look] {
            const NoDescriptors none;
            look();
        };
    };
    const AppProcess self{"a", getpid(), 0};
    EXPECT_THAT(withoutDescriptors([&] { self.isAlive(); }),
                refuses(kEnvironment, HasSubstr("ulimit -n")));
    EXPECT_THAT(withoutDescriptors([] { numbersIn("/proc"); }),
                refuses(kEnvironment, HasSubstr("ulimit -n")));
    EXPECT_FALSE(readProcessStat(1 << 22));
    EXPECT_THAT(numbersIn("/proc/4194304/task"), IsEmpty());
}

TEST(TaskListTest, ListIsReadUpToTheFirstThingThatIsNoNumber) {
    EXPECT_THAT(parseTaskList("12\n7 \n\n3\n99999999999999999999\n8"), ElementsAre(12, 7, 3));
}

TEST(TaskListTest, EndedTasksGoOthersKeepTheirPlaceAndNewOnesComeLast) {
    const auto isEven = [](pid_t task) { return task % 2 == 0; };
    EXPECT_THAT(mergeTasks({4, 3, 2, 4}, {2, 7, 8}, isEven), ElementsAre(4, 2, 7, 8));
}

// A reader may hold the file open and read in between: no piece of a number of
// the old list may show. A file that cannot be cut stays as it is in between.
TEST(TaskListTest, FileShowsTheNewListWithoutPiecesOfTheOld) {
    const std::string gone = "4194304\n";  // above every pid that Linux gives
    const std::string own = std::to_string(getpid()) + '\n';
    const UniqueFd file(memfd_create("tasks", MFD_ALLOW_SEALING));
    const std::string path = "/proc/self/fd/" + std::to_string(file.get());
    std::ofstream(path) << gone << own << gone;
    TaskListKeeper keeper(path);
    ASSERT_EQ(fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
    EXPECT_THAT([&] { keeper.keep({1}); }, refuses(kEnvironment, testing::HasSubstr("rewrite")));
    EXPECT_EQ(contentOf(path), own + "1\n" + std::string(2 * gone.size() - 2, '\n'));

    const TempFolder folder;
    std::ofstream(folder / "tasks") << gone << own << gone;
    TaskListKeeper(folder / "tasks").keep({1});
    EXPECT_EQ(contentOf(folder / "tasks"), own + "1\n");
}

// Taken by a process that is gone, the lock is held by its heir.
TEST(TaskListLockTest, ListThatAnotherHasLockedIsGivenUpInALineThatNamesIt) {
    const TempFolder folder;
    const std::string list = folder / "tasks";
    std::ofstream(list).flush();
    const std::string script = "exec 9<>" + list + "; flock 9; exec -a com.a sleep 60";
    const Program locker({"/bin/bash", "-c", script});
    ASSERT_TRUE(eventually([&] { return shownName(locker.pid()) == "com.a"; }));
    TaskListKeeper keeper(list);
    EXPECT_THAT([&] { keeper.keep({}, 10); },
                refuses(kEnvironment, HasSubstr(std::to_string(locker.pid()) + " (com.a) has")));
    EXPECT_THAT([&] { keeper.keep({locker.pid()}, 0); },
                refuses(kEnvironment, HasSubstr("COMMAND (com.a) has")));
}

class ProcessTreeTest : public testing::Test {
protected:
    // A shell that runs `script`; the folder is $0.
    Program shell(const std::string& script) const {
        return Program({"/bin/bash", "-c", script, mFolder / "."});
    }
    static std::string await(const std::string& name) {
        return "until [ -e $0/" + name + " ]; do sleep .01; done; ";
    }
    void let(const std::string& name) const { std::ofstream(mFolder / name).flush(); }

    // The process whose number the shell has printed.
    static pid_t toldBy(const Program& program) {
        EXPECT_TRUE(eventually([&] { return program.out().find('\n') != std::string::npos; }));
        return std::stoi(program.out());
    }

    const TempFolder mFolder;
};

TEST_F(ProcessTreeTest, DescendantsAreFoundWithTheirThreadsUntilTheyEnd) {
    ProcessTree tree;
    const Program program = shell("sleep 60 & echo $!; wait");
    const pid_t child = toldBy(program);
    tree.update();
    EXPECT_THAT(tree.processes(), UnorderedElementsAre(program.pid(), child));
    EXPECT_THAT(tree.tasks(), UnorderedElementsAre(program.pid(), child));
    kill(child, SIGKILL);
    program.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        tree.update();
        return tree.processes().empty();
    })) << "a zombie has exited";
}

// It is a zombie all the same, and its threads would be left running.
TEST_F(ProcessTreeTest, ProcessWhoseFirstThreadEndedLivesAsLongAsItsOthers) {
    ProcessTree tree;
    const pid_t child = fork();
    if (child == 0) {
        std::thread(pause).detach();
        syscall(SYS_exit, 0);  // this thread's end alone
    }
    ASSERT_GT(child, 0);
    EXPECT_TRUE(eventually([&] { return readProcessStat(child)->state == 'Z'; }));
    tree.update();
    EXPECT_THAT(tree.processes(), UnorderedElementsAre(child));
    EXPECT_FALSE((AppProcess{"", child, readProcessStat(child)->startTicks}.isAlive()))
        << "the library sees no more of it";
    kill(child, SIGKILL);
    EXPECT_TRUE(eventually([&] {
        tree.update();
        return tree.processes().empty();
    }));
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

// Nor what they start and leave to us.
TEST_F(ProcessTreeTest, WhatRanBeforeIsForeignWithAllThatItStarts) {
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) GTEST_SKIP() << "an emulator keeps orphans from us";
    const Program before = shell(await("go") + "sleep 60 & echo $!; " + await("end"));
    ProcessTree tree;
    let("go");
    const pid_t child = toldBy(before);
    tree.update();
    let("end");
    EXPECT_TRUE(eventually([&] { return readProcessStat(child)->parent == getpid(); }));
    tree.update();
    EXPECT_THAT(tree.processes(), IsEmpty());
    kill(child, SIGKILL);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST(ShellTest, LineRunsWithThePersonsSettingsAndItsCodeIsReturned) {
    const TempFolder folder;
    const UniqueFd output(open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    umask(027);
    keepNewFilesPrivate();
    EXPECT_EQ(runShell("umask; echo $ORVO_LAUNCH_NS; cat; sleep .02; exit 7", output.get()), 7);
    EXPECT_EQ(contentOf(folder / "out"), "0027\n\n");
    EXPECT_EQ(runShell("kill -9 $$", output.get()), 128 + SIGKILL);
    const int interrupted = elsewhere([&] {
        noteInterruptions();
        return runShell("kill -TERM $PPID; sleep 60", output.get());
    });
    EXPECT_EQ(interrupted, 128 + SIGTERM);
}

TEST(LaunchEnvironmentTest, WhatTheHostAddedIsLeftOutAndTheMomentComesLast) {
    for (const char* name : {"TAVO_DB_PATH", "TAVO_PROPERTIES", "ORVO_LAUNCH_NS", "PERSONS_OWN"})
        setenv(name, "1", 1);
    const std::vector<std::string> entries = launchEnvironment();
    EXPECT_EQ(entries.back(), "ORVO_LAUNCH_NS=" + std::string(20, '0'));
    int ofTheHost = 0;
    for (const std::string& entry : entries)
        ofTheHost += entry.rfind("TAVO_", 0) == 0 || entry.rfind("ORVO_LAUNCH", 0) == 0 ? 1 : 0;
    EXPECT_EQ(ofTheHost, 1);
    EXPECT_THAT(entries, testing::Contains("PERSONS_OWN=1"));
}

// As nohup has it.
TEST(InterruptionTest, AnySignalToEndIsNotedUnlessItIsIgnored) {
    const auto isNoted = [](int signal, bool isIgnored) {
        return elsewhere([=] {
            std::signal(signal, isIgnored ? SIG_IGN : SIG_DFL);
            noteInterruptions();
            raise(signal);
            return isInterrupted() ? 1 : 0;
        });
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(isNoted(signal, false), 1) << signal;
        EXPECT_EQ(isNoted(signal, true), 0) << signal;
    }
    EXPECT_EQ(isNoted(SIGPIPE, false), 0);
}

}  // namespace
}  // namespace host
