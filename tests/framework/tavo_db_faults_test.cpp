// The database when processes die, share the file, or the disk lets it down.
#include <atomic>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "framework/tavodb/schema.h"
#include "framework/tavodb/sqlite.h"
#include "tests/framework/temp_store.h"

namespace {

namespace fs = std::filesystem;

std::string text(tavodb::Bytes bytes) {
    return {static_cast<const char*>(bytes.data), bytes.size};
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::atomic<int> gFlushes{0};

class TavoDbFaultsTest : public TempStore {
protected:
    void expectOpenFails(const std::string& reason) {
        mLogged.clear();
        TavoDB database;
        std::uint32_t handle = 77;
        EXPECT_LT(database.DBopen("t", handle), 0) << mPath;
        EXPECT_EQ(handle, 77u);
        ASSERT_EQ(mLogged.size(), 1u) << mPath;
        EXPECT_NE(mLogged[0].find(reason), std::string::npos) << mLogged[0];
    }

    void expectIntact() {
        tavodb::Connection connection;
        tavodb::Statement check;
        ASSERT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
        ASSERT_TRUE(check.prepare(connection, "PRAGMA integrity_check"));
        ASSERT_EQ(check.step(), tavodb::Outcome::kRow);
        EXPECT_EQ(text(check.column(0)), "ok");
    }
};

// Inserts 0, 1, 2, ... from `first` on, reporting each finished one, until killed.
[[noreturn]] void insertUntilKilled(std::uint32_t first, int report) {
    TavoDB database;
    std::uint32_t handle = 0;
    database.DBopen("t", handle);
    for (; database.DBupdate(handle, "k", &first, 4, DB_OP_INSERT) == 1; ++first) {
        if (write(report, &first, 4) != 4) break;
    }
    _exit(1);
}

TEST_F(TavoDbFaultsTest, KilledProcessLosesNoFinishedWrite) {
    std::uint32_t stored = 0;
    for (int round = 0; round < 8; ++round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) insertUntilKilled(stored, ends[1]);
        close(ends[1]);
        std::uint32_t reported = 0;
        for (int i = 0; i < 12 * round + 1; ++i)
            ASSERT_EQ(read(ends[0], &reported, 4), 4);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        while (read(ends[0], &reported, 4) == 4)
            continue;
        close(ends[0]);

        expectIntact();
        TavoDB database;
        std::vector<std::string> keys;
        std::vector<void*> values;
        database.DBQueryAll(openTable(database, "t"), "k", keys, values, 4);
        ASSERT_GT(values.size(), reported);
        ASSERT_LE(values.size(), reported + 2);  // the one under way may have been finished
        for (stored = 0; stored < values.size(); ++stored) {
            ASSERT_EQ(*static_cast<std::uint32_t*>(values[stored]), stored);
        }
    }
}

// Opening and closing over and over, too: the last to close tidies the file up.
int insertWithManyOpens(const std::string& value) {
    int failures = 0;
    for (int i = 0; i < 3; ++i) {
        TavoDB database;
        std::uint32_t handle = 0;
        failures += database.DBopen("t", handle) != 0;
        for (int row = 0; row < 2; ++row) {
            failures += database.DBupdate(handle, "k", value.data(), 4, DB_OP_INSERT) != 1;
        }
    }
    return failures;
}

TEST_F(TavoDbFaultsTest, ProcessesShareTheFileWithoutLosingWrites) {
    for (int round = 0; round < 25; ++round) {
        use(mFolder + '/' + std::to_string(round));  // creating it is a race of its own
        for (int i = 0; i < 4; ++i) {
            if (fork() == 0) _exit(insertWithManyOpens("1234"));
        }
        for (int status = 0; wait(&status) > 0;)
            EXPECT_EQ(status, 0);
        TavoDB database;
        EXPECT_EQ(valuesOf(database, openTable(database, "t"), "k", 4).size(), 5u * 6 * 4);
        expectIntact();
    }
}

TEST_F(TavoDbFaultsTest, FinishedWriteHasReachedTheDisk) {
    TavoDB database;
    const auto table = openTable(database, "t");
    insert(database, table, "k", "1234");
    const int before = gFlushes;
    insert(database, table, "k", "5678");
    EXPECT_GT(gFlushes, before);
}

TEST_F(TavoDbFaultsTest, FilesThatAreNoDatabaseAreRefusedUnchanged) {
    for (const std::size_t length : {1u, 511u, 4096u, 100001u}) {
        use(mFolder + "/garbage" + std::to_string(length));
        const std::string garbage(length, 'g');
        std::ofstream(mPath) << garbage;
        expectOpenFails("file is not a database");
        EXPECT_TRUE(contentOf(mPath) == garbage) << length;
        EXPECT_FALSE(fs::exists(mPath + "-wal"));
    }
}

TEST_F(TavoDbFaultsTest, UnusablePathsAreRefused) {
    std::ofstream(mFolder + "/file") << "x";
    use(mFolder);
    expectOpenFails("unable to open database file");
    use(mFolder + "/file/under/a/file.db");
    expectOpenFails("cannot create the folder");
    use("");
    expectOpenFails("TAVO_DB_PATH is not set");
}

TEST_F(TavoDbFaultsTest, NamesSpecialToTheEngineAreFileNames) {
    fs::current_path(mFolder);
    for (const char* name : {":memory:", "file:x?mode=memory"}) {
        use(name);
        TavoDB database;
        openTable(database, "t");
        EXPECT_TRUE(fs::exists(mFolder + '/' + name)) << name;
    }
    fs::current_path("/");
}

TEST_F(TavoDbFaultsTest, ReadOnlyFolderIsRefusedUnchanged) {
    insertWithManyOpens("1234");
    const std::string before = contentOf(mPath);
    const fs::path folder = fs::path(mPath).parent_path();
    fs::permissions(mFolder, fs::perms{0755});
    fs::permissions(mPath, fs::perms{0444});
    fs::permissions(folder, fs::perms{0555});
    // Root may write everywhere; with nobody's file system id it is like anyone.
    std::thread([this] {
        if (geteuid() == 0) setfsuid(65534);
        expectOpenFails("attempt to write a readonly database");
    }).join();
    fs::permissions(folder, fs::perms{0755});
    EXPECT_TRUE(contentOf(mPath) == before);
}

TEST_F(TavoDbFaultsTest, FullDiskFailsTheWriteAndKeepsTheRest) {
    TavoDB database;
    const auto table = openTable(database, "t");
    insert(database, table, "k", "1234");
    const std::string before = contentOf(mPath);
    signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit full{fs::file_size(mPath + "-wal") + 100, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_LT(insert(database, table, "k", "lost"), 0);
    EXPECT_EQ(mLogged.size(), 1u);
    EXPECT_EQ(valuesOf(database, table, "k", 4), "1234|");
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_TRUE(contentOf(mPath) == before);
    EXPECT_EQ(insert(database, table, "k", "5678"), 1);
    EXPECT_EQ(valuesOf(database, table, "k", 4), "1234|5678|");
}

TEST_F(TavoDbFaultsTest, WriteToARemovedFileIsNotCalledFinished) {
    TavoDB database;
    const auto table = openTable(database, "t");
    insert(database, table, "k", "1234");
    fs::remove_all(fs::path(mPath).parent_path());
    EXPECT_LT(insert(database, table, "k", "5678"), 0);
    ASSERT_EQ(mLogged.size(), 1u);
    EXPECT_NE(mLogged[0].find("removed or replaced"), std::string::npos) << mLogged[0];
}

TEST_F(TavoDbFaultsTest, ProgramsReadTheRowsThroughTheSharedLayer) {
    TavoDB database;
    const auto table = openTable(database, "OrvoStatus");
    for (const char* row : {"b1", "a2", "b3", "a4"})
        insert(database, table, {row[0]}, row);
    tavodb::Connection connection;
    tavodb::Statement rows;
    ASSERT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
    ASSERT_TRUE(rows.prepare(connection, tavodb::selectAllSql("OrvoStatus")));
    std::string all;
    while (rows.step() == tavodb::Outcome::kRow)
        all += text(rows.column(0)) + text(rows.column(1));
    EXPECT_EQ(all, "aa2aa4bb1bb3");
    EXPECT_FALSE(connection.execute("DELETE FROM " + tavodb::sqlTableName("OrvoStatus")));
}

}  // namespace

// In place of the system's: SQLite flushes with it.
extern "C" int fdatasync(int fildes) {
    ++gFlushes;
    return fsync(fildes);
}
