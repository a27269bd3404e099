// What the host opens, locks and writes, beside others who mean it harm or no harm.
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/base/locked_file.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"
#include "host/base/rotating_file.h"
#include "host/base/text_file.h"
#include "host/state/command_output.h"
#include "host/state/generations.h"
#include "host/state/package_lock.h"
#include "host/state/state_folder.h"
#include "host/state/watch_lock.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/elsewhere.h"
#include "tests/host/refusal.h"

namespace {

struct Flush {
    int times = 0;
    int error = 0;  // that the next ones fail with
} flush;

}  // namespace

// In place of the C library's.
int fdatasync(int fd) {
    ++flush.times;
    errno = flush.error;
    return flush.error == 0 ? static_cast<int>(syscall(SYS_fdatasync, fd)) : -1;
}

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

TEST(RegularFileTest, LinksArePersonsToGiveButNeverFollowedWhereTheHostWrites) {
    const TempFolder folder;
    std::ofstream(folder / "victim") << "precious";
    fs::create_symlink(folder / "victim", folder / "link");
    EXPECT_TRUE(openGivenFile(folder / "link", kUsage).isOpen());
    for (const int flags : {O_RDONLY, O_RDWR | O_CREAT | O_TRUNC}) {
        EXPECT_THAT([&] { openKeptFile(folder / "link", flags); },
                    refuses(kEnvironment, HasSubstr("symbolic link")));
    }
    EXPECT_THAT([&] { refuseUnlessRegular(folder / "link"); },
                refuses(kEnvironment, HasSubstr("symbolic link")));
    EXPECT_EQ(contentOf(folder / "victim"), "precious");
}

TEST(RegularFileTest, PipesAndFoldersAreRefusedWithoutWaiting) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const int flags : {O_RDONLY, O_WRONLY | O_APPEND, O_RDWR | O_CREAT}) {
        EXPECT_THAT([&] { openKeptFile(folder / "pipe", flags); },
                    refuses(kEnvironment, HasSubstr("it is a pipe")));
    }
    EXPECT_THAT([&] { openGivenFile(folder / "pipe", kUsage); },
                refuses(kUsage, HasSubstr("it is a pipe")));
    EXPECT_THAT([&] { openGivenFile(folder / "", kUsage); },
                refuses(kUsage, HasSubstr("it is a folder")));
    EXPECT_FALSE(openKeptFile(folder / "none", O_RDWR).isOpen());
}

// 1 when `action` is refused with a line that names `holder`.
int isRefusedBy(pid_t holder, const std::function<void()>& action) {
    try {
        action();
    } catch (const HostError& error) {
        const std::string name = "process " + std::to_string(holder) + " (";
        return std::string(error.what()).find(name) != std::string::npos ? 1 : 2;
    }
    return 0;
}

TEST(TextFileTest, ControlCharacterIsToldWithItsLine) {
    const TempFolder folder;
    const std::string path = folder / "text";
    for (const char bad : {'\0', '\x1f', '\x7f', '\x1b'}) {
        std::ofstream(path) << "a\tb\r\n" << bad << '\n';
        EXPECT_THAT([&] { readTextFile(path, kUsage); }, refuses(kUsage, HasSubstr("text:2: ")));
    }
    std::ofstream(path) << "\ta\r\n\xff ";
    EXPECT_EQ(readKeptTextFile(path), "\ta\r\n\xff ");
    EXPECT_EQ(readKeptTextFile(folder / "none"), "");
    EXPECT_THAT([&] { readTextFile(folder / "none", kUsage); },
                refuses(kUsage, HasSubstr("No such file")));
}

TEST(LockTest, SecondWatchIsToldWhoWatchesAndTheFileOutlivesNobody) {
    const TempFolder folder;
    const std::string path = folder / "watch.lock";
    const pid_t self = getpid();
    {
        const WatchLock lock(path);
        EXPECT_EQ(elsewhere([&] { return isRefusedBy(self, [&] { WatchLock second(path); }); }), 1);
        EXPECT_TRUE(elsewhere([&] { return WatchLock::holder(path) == self; }));
    }
    EXPECT_TRUE(elsewhere([&] { return !WatchLock::holder(path); }));
    EXPECT_FALSE(WatchLock::holder(folder / "none"));
    EXPECT_EQ(contentOf(path), "");
}

TEST(LockTest, OnePackageHasOneWriterAndOthersGoOnBesideIt) {
    const TempFolder folder;
    const std::string path = folder / "packages.lock";
    PackageLocks locks(path);
    ASSERT_TRUE(locks.take("com.a") && locks.take("com.a") && locks.take("com.b"));
    locks.drop("com.a");
    locks.drop("com.b");
    const pid_t self = getpid();
    const auto second = [&](const char* package) {
        return elsewhere(
            [&] { return isRefusedBy(self, [&] { PackageLocks(path).takeOrRefuse(package); }); });
    };
    EXPECT_EQ(second("com.a"), 1);
    EXPECT_EQ(second("com.b"), 0);
    locks.drop("com.a");
    EXPECT_EQ(second("com.a"), 0);
    EXPECT_EQ(contentOf(path), "");
}

TEST(LockTest, WaitForALockHasALimitAndNamesTheHolder) {
    const TempFolder folder;
    const std::string path = folder / "file";
    const UniqueFd held = openLocked(path, 0);
    const pid_t self = getpid();
    EXPECT_TRUE(elsewhere([&] {
        const UniqueFd file = openKeptFile(path, O_RDWR);
        return !takeLock(file.get(), path, {}, 30) && lockHolder(file.get(), {}) == self;
    }));
}

TEST(FlushTest, WhatIsKeptForGoodIsFlushedAndAFlushThatFailsIsToldAndUnlocks) {
    const TempFolder folder;
    flush.times = 0;
    RotatingFile lines(folder / "log");
    const GenerationsFile generations(folder / "generations.jsonl");
    lines.appendForGood("a\n");
    generations.put("com.a", {2});
    EXPECT_EQ(flush.times, 2);
    flush.error = EIO;
    EXPECT_THAT([&] { lines.appendForGood("b\n"); },
                refuses(kEnvironment, HasSubstr("Input/output error")));
    EXPECT_THAT([&] { generations.put("com.a", {3}); },
                refuses(kEnvironment, HasSubstr("Input/output error")));
    flush.error = 0;
    EXPECT_EQ(generations.read().newestOf("com.a").number, 2);
    EXPECT_TRUE(elsewhere([&] {
        const UniqueFd file = openKeptFile(folder / "log", O_RDWR);
        return takeLock(file.get(), "", {}, 0);
    }));
}

TEST(RotatingFileTest, OthersLinesGoOnInTheNewFileOnceOneHasRenamedIt) {
    const TempFolder folder;
    const std::string path = folder / "log";
    RotatingFile one(path);
    RotatingFile other(path);
    one.append("a\n");
    other.append(std::string(RotatingFile::kLargestSize, 'x') + '\n');
    one.append("b\n");
    other.append("c\n");
    EXPECT_EQ(contentOf(path), "b\nc\n");
    EXPECT_EQ(contentOf(path + ".1").substr(0, 4), "a\nxx");
    fs::rename(path, path + ".1");
    one.append("d\n");
    EXPECT_EQ(contentOf(path), "d\n");
}

TEST(StateFolderTest, NewFolderIsItsOwnersAloneAndAForeignOneIsRefused) {
    const TempFolder folder;
    const StateFolder state(folder / "a/state/");
    const mode_t before = umask(0);
    state.create();
    std::ofstream(state.path() + "/watch.pid") << "1";
    state.create();
    std::ofstream(state.properties()) << "debug.vendor.zorv.enable.lm_csv_dump=true\nx=1\n";
    chmod(state.properties().c_str(), 0644);
    state.removeDumpProperty();
    EXPECT_EQ(contentOf(state.properties()), "x=1\n");
    const CommandOutput output(state);
    umask(before);
    for (const std::string& made : {state.path(), state.dumps(), state.properties(), output.path()})
        EXPECT_EQ(fs::status(made).permissions() & fs::perms(077), fs::perms::none) << made;
    EXPECT_FALSE(fs::exists(state.path() + "/watch.pid")) << "a number that is somebody else's now";

    ASSERT_EQ(chmod(state.path().c_str(), 0777), 0);
    EXPECT_THAT([&] { state.create(); }, refuses(kEnvironment, HasSubstr("chmod 700")));
    ASSERT_EQ(chmod(state.path().c_str(), 0700), 0);
    if (chown(state.path().c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "only root gives files away";
    EXPECT_THAT([&] { state.create(); }, refuses(kEnvironment, HasSubstr("belongs to user 65534")));
}

TEST(StateFolderTest, OnePropertyGoesAndTheOthersStay) {
    const char* const cases[][2] = {
        {"# c\nx=1", "# c\nx=1"},           {" a.b = false\nx=1\na.b=true", "x=1\n"},
        {"a.b=true\na.bc=1\n", "a.bc=1\n"}, {"a.b\n\n", "a.b\n\n"},
        {"\ta.b\t=\ttrue\n", ""},
    };
    for (const auto& [before, after] : cases)
        EXPECT_EQ(withoutProperty(before, "a.b"), after) << before;
}

TEST(CommandOutputTest, LearnsSideBySideHaveAFileEach) {
    const TempFolder folder;
    const StateFolder state(folder / "state");
    state.create();
    std::ofstream(state.commandOutput(1)) << "of an earlier run";
    const CommandOutput first(state);
    EXPECT_EQ(first.path(), state.commandOutput(1));
    EXPECT_TRUE(elsewhere([&] { return CommandOutput(state).path() == state.commandOutput(2); }));
    EXPECT_EQ(contentOf(first.path()), "");
}

}  // namespace
}  // namespace host
