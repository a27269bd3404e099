// The database when processes share the file, or the file is not usable. What
// kill -9 and a failing disk do to it is seen with the library on top.
#include <atomic>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/framework/temp_store.h"

namespace {

namespace fs = std::filesystem;

std::atomic<int> gFlushes{0};

using TavoDbFaultsTest = TempStore;

// Opening and closing over and over, too: the last to close tidies the file up.
int insertWithManyOpens() {
    int failures = 0;
    for (int i = 0; i < 3; ++i) {
        TavoDB database;
        std::uint32_t handle = 0;
        failures += database.DBopen("t", handle) != 0;
        for (int row = 0; row < 2; ++row)
            failures += database.DBupdate(handle, "k", "1234", 4, DB_OP_INSERT) != 1;
    }
    return failures;
}

TEST_F(TavoDbFaultsTest, ProcessesShareTheFileWithoutLosingWrites) {
    for (int round = 0; round < 25; ++round) {
        use(mFolder / std::to_string(round));  // creating it is a race of its own
        for (int i = 0; i < 4; ++i) {
            if (fork() == 0) _exit(insertWithManyOpens());
        }
        for (int status = 0; wait(&status) > 0;)
            EXPECT_EQ(status, 0);
        EXPECT_EQ(rowsOf("t").size(), 6U * 4);
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

TEST_F(TavoDbFaultsTest, UnusableFilesAndPathsAreRefusedUnchanged) {
    std::vector<std::pair<std::string, std::string>> cases{
        {mFolder / ".", "unable to open database file"},
        {mFolder / "1/under/a/file.db", "cannot create the folder"},
        {"", "TAVO_DB_PATH is not set"},
    };
    constexpr std::size_t kLengths[] = {1, 511, 4096, 100001};
    for (const std::size_t length : kLengths) {
        cases.emplace_back(mFolder / std::to_string(length), "file is not a database");
        std::ofstream(cases.back().first) << std::string(length, 'g');
    }
    for (const auto& [path, reason] : cases) {
        use(path);
        mLogged.clear();
        TavoDB database;
        std::uint32_t handle = 77;
        EXPECT_LT(database.DBopen("t", handle), 0) << path;
        EXPECT_EQ(handle, 77u);
        ASSERT_EQ(mLogged.size(), 1u) << path;
        EXPECT_NE(mLogged[0].find(reason), std::string::npos) << mLogged[0];
    }
    for (const std::size_t length : kLengths)
        EXPECT_TRUE(contentOf(mFolder / std::to_string(length)) == std::string(length, 'g'));
}

TEST_F(TavoDbFaultsTest, NamesSpecialToTheEngineAreFileNames) {
    fs::current_path(mFolder / ".");
    for (const char* name : {":memory:", "file:x?mode=memory"}) {
        use(name);
        TavoDB database;
        openTable(database, "t");
        EXPECT_TRUE(fs::exists(mFolder / name)) << name;
    }
    fs::current_path("/");
}

TEST_F(TavoDbFaultsTest, ProgramsReadTheRowsThroughTheSharedLayerAndChangeNone) {
    TavoDB database;
    const auto table = openTable(database, "OrvoStatus");
    for (const char* row : {"b1", "a2", "b3", "a4"})
        insert(database, table, {row[0]}, row);
    EXPECT_EQ(rowsOf("OrvoStatus"), (Rows{{"a", "a2"}, {"a", "a4"}, {"b", "b1"}, {"b", "b3"}}));
    tavodb::Connection connection;
    ASSERT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
    EXPECT_FALSE(connection.execute("DELETE FROM " + tavodb::sqlTableName("OrvoStatus")));
}

}  // namespace

// In place of the system's: SQLite flushes with it.
extern "C" int fdatasync(int fildes) {
    ++gFlushes;
    return fsync(fildes);
}
