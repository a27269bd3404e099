// The database when processes die, share the file, or the disk lets it down.
#include <csignal>
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

class TavoDbFaultsTest : public TempStore {
protected:
    void expectOpenFails(const std::string& reason) {
        sLogged.clear();
        TavoDB database;
        std::uint32_t handle = 77;
        EXPECT_LT(database.DBopen("t", handle), 0) << mPath;
        EXPECT_EQ(handle, 77u);
        ASSERT_EQ(sLogged.size(), 1u) << mPath;
        EXPECT_NE(sLogged[0].find(reason), std::string::npos) << sLogged[0];
    }

    void expectIntact() {
        tavodb::Connection connection;
        tavodb::Statement check;
        ASSERT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
        ASSERT_TRUE(check.prepare(connection, "PRAGMA integrity_check"));
        ASSERT_EQ(check.step(), tavodb::Outcome::kRow);
        const tavodb::Bytes answer = check.column(0);
        EXPECT_EQ(std::string(static_cast<const char*>(answer.data), answer.size), "ok");
    }
};

// Inserts 0, 1, 2, ... from `first` on, reporting each finished one, until killed.
[[noreturn]] void insertUntilKilled(std::uint32_t first, int report) {
    TavoDB database;
    std::uint32_t handle = 0;
    if (database.DBopen("t", handle) != 0) _exit(1);
    for (std::uint32_t number = first;; ++number) {
        if (database.DBupdate(handle, "k", &number, 4, DB_OP_INSERT) != 1) _exit(1);
        if (write(report, &number, 4) != 4) _exit(1);
    }
}

TEST_F(TavoDbFaultsTest, KilledProcessLosesNoFinishedWrite) {
    std::uint32_t stored = 0;
    for (int round = 0; round < 8; ++round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) insertUntilKilled(stored, ends[1]);
        close(ends[1]);
        std::uint32_t reported = stored;
        for (int i = 0; i < 30 * round + 1; ++i)
            ASSERT_EQ(read(ends[0], &reported, 4), 4);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        while (read(ends[0], &reported, 4) == 4) {
        }
        close(ends[0]);

        expectIntact();
        TavoDB database;
        std::vector<std::string> keys;
        std::vector<void*> values;
        ASSERT_GT(database.DBQueryAll(openTable(database, "t"), "k", keys, values, 4), 0);
        stored = static_cast<std::uint32_t>(values.size());
        EXPECT_GT(stored, reported);
        EXPECT_LE(stored, reported + 2);  // the one under way may have been finished
        for (std::uint32_t i = 0; i < stored; ++i) {
            ASSERT_EQ(*static_cast<std::uint32_t*>(values[i]), i);
        }
    }
}

// Opening and closing over and over, too: the last to close tidies the file up.
int insertWithManyOpens(const std::string& value) {
    int failures = 0;
    for (int i = 0; i < 25; ++i) {
        TavoDB database;
        std::uint32_t handle = 0;
        failures += database.DBopen("t", handle) != 0;
        for (int row = 0; row < 4; ++row) {
            failures += database.DBupdate(handle, "k", value.data(), 4, DB_OP_INSERT) != 1;
        }
    }
    return failures;
}

TEST_F(TavoDbFaultsTest, ProcessesShareTheFileWithoutLosingWrites) {
    pid_t children[2];
    for (pid_t& child : children) {
        child = fork();
        if (child == 0) _exit(insertWithManyOpens("them"));
    }
    EXPECT_EQ(insertWithManyOpens("this"), 0);
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    TavoDB database;
    EXPECT_EQ(valuesOf(database, openTable(database, "t"), "k", 4).size(), 5u * 100 * 3);
    expectIntact();
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
        insert(database, openTable(database, "t"), "k", "v");
        EXPECT_TRUE(fs::exists(mFolder + '/' + name)) << name;
    }
    fs::current_path("/");
}

TEST_F(TavoDbFaultsTest, ReadOnlyFolderIsRefusedUnchanged) {
    {
        TavoDB database;
        insert(database, openTable(database, "t"), "k", "v");
    }
    const std::string before = contentOf(mPath);
    fs::permissions(mFolder, fs::perms(0755));
    fs::permissions(mPath, fs::perms(0444));
    fs::permissions(fs::path(mPath).parent_path(), fs::perms(0555));
    // Root may write everywhere; as the file system's "nobody" it is like anyone.
    std::thread([this] {
        if (geteuid() == 0) setfsuid(65534);
        expectOpenFails("attempt to write a readonly database");
    }).join();
    fs::permissions(fs::path(mPath).parent_path(), fs::perms(0755));
    EXPECT_TRUE(contentOf(mPath) == before);
}

TEST_F(TavoDbFaultsTest, FullDiskFailsTheWriteAndKeepsTheRest) {
    TavoDB database;
    const auto table = openTable(database, "t");
    insert(database, table, "k", "1234");
    const std::string before = contentOf(mPath);
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlim_t unlimited = limit.rlim_cur;
    limit.rlim_cur = fs::file_size(mPath + "-wal") + 100;
    setrlimit(RLIMIT_FSIZE, &limit);
    sLogged.clear();
    EXPECT_LT(insert(database, table, "k", "lost"), 0);
    EXPECT_EQ(sLogged.size(), 1u);
    EXPECT_EQ(valuesOf(database, table, "k", 4), "1234|");
    limit.rlim_cur = unlimited;
    setrlimit(RLIMIT_FSIZE, &limit);
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
    ASSERT_EQ(sLogged.size(), 1u);
    EXPECT_NE(sLogged[0].find("removed or replaced"), std::string::npos) << sLogged[0];
}

TEST_F(TavoDbFaultsTest, ProgramsReadTheRowsThroughTheSharedLayer) {
    TavoDB database;
    const auto table = openTable(database, "OrvoStatus");
    for (const char* key : {"b", "a", "b"})
        insert(database, table, key, std::string(key) + "!");
    tavodb::Connection connection;
    tavodb::Statement rows;
    ASSERT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
    ASSERT_TRUE(rows.prepare(connection, tavodb::selectAllSql("OrvoStatus")));
    std::string all;
    while (rows.step() == tavodb::Outcome::kRow) {
        for (int i : {0, 1}) {
            const tavodb::Bytes bytes = rows.column(i);
            all.append(static_cast<const char*>(bytes.data), bytes.size);
        }
    }
    EXPECT_EQ(all, "aa!bb!bb!");
    EXPECT_FALSE(connection.execute("DELETE FROM " + tavodb::sqlTableName("OrvoStatus")));
}

}  // namespace
