// What the host opens, locks and writes, beside others who mean it harm or no harm.
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "framework/tavodb/schema.h"
#include "host/base/locked_file.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"
#include "host/base/rotating_file.h"
#include "host/process/child_process.h"
#include "host/state/command_output.h"
#include "host/state/package_lock.h"
#include "host/state/state_folder.h"
#include "host/state/store_holder.h"
#include "host/state/store_reader.h"
#include "host/state/watch_lock.h"
#include "host/watch/watch_cost.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/refusal.h"

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

/// What `question` answers in another process: only others see a lock as held.
int elsewhere(const std::function<int()>& question) {
    const pid_t child = fork();
    if (child == 0) _exit(question());
    int status = 0;
    waitpid(child, &status, 0);
    return exitCodeOf(status);
}

/// 1 when `action` is refused with a line that names `holder`.
int isRefusedBy(pid_t holder, const std::function<void()>& action) {
    try {
        action();
    } catch (const HostError& error) {
        const std::string name = "process " + std::to_string(holder) + " (";
        return std::string(error.what()).find(name) != std::string::npos ? 1 : 2;
    }
    return 0;
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

TEST(StoreHolderTest, OnlyWhoKeepsWritersAwayIsNamed) {
    const FileIdentity database{makedev(0x8, 0x1), 77};
    const FileIdentity shared{makedev(0x8, 0x1), 78};
    const std::pair<const char*, std::optional<pid_t>> cases[] = {
        {"1: POSIX  ADVISORY  READ 12 08:01:77 1073741826 1073742335\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 12 08:01:77 1073741826 1073742335", 12},
        {"1: POSIX  ADVISORY  READ 12 08:01:78 128 128\n2: POSIX  ADVISORY  READ 13 08:01:78 "
         "124 124\n",
         std::nullopt},
        {"1: POSIX  ADVISORY  READ 12 08:01:78 120 120\n", 12},
        {"1: POSIX  ADVISORY  WRITE 12 08:01:78 0 EOF\n", 12},
        {"1: -> POSIX  ADVISORY  WRITE 12 08:01:78 120 120\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 12 08:02:78 120 120\n", std::nullopt},
        {"1: OFDLCK ADVISORY  WRITE -1 08:01:78 120 120\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 99 08:01:78 120 120\n", std::nullopt},
        {"x\n\n1: POSIX\n", std::nullopt},
    };
    for (const auto& [locks, holder] : cases)
        EXPECT_EQ(writerIn(locks, database, shared, 99), holder) << locks;
}

// It may be without end.
TEST(StoreReaderTest, ViewInATablesPlaceIsRefusedAndNotRun) {
    const TempFolder folder;
    tavodb::Connection store;
    ASSERT_TRUE(store.open(folder / "orvo.db", tavodb::Connection::Access::kReadWriteCreate));
    ASSERT_TRUE(store.execute("CREATE VIEW " + tavodb::sqlTableName("OrvoEP") +
                              " AS SELECT x'61' AS key, 1 AS seq, x'01000000' AS value"));
    EXPECT_THAT([&] { StoreReader(folder / "orvo.db").packages(); },
                refuses(kEnvironment, HasSubstr("view")));
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
