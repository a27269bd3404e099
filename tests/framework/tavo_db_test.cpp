// What the database's operations promise, and what files it takes.
#include <atomic>
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "framework/tavodb/key_alias.h"
#include "framework/tavodb/result_buffers.h"
#include "tests/framework/temp_store.h"

namespace {

using namespace std::string_literals;

namespace fs = std::filesystem;

std::atomic<int> gFlushes{0};

class TavoDbTest : public TempStore {
protected:
    TavoDB mDatabase;
    const std::uint32_t mTable = openTable(mDatabase, "t");
};

TEST_F(TavoDbTest, QueryCopiesTheOldestValueOrLeavesTheBufferAlone) {
    char buffer[8] = "-------";
    std::uint64_t size = 8;
    EXPECT_GT(mDatabase.DBQuery(mTable, "a", buffer, size), 0);
    EXPECT_EQ(insert(mDatabase, mTable, "a", "12345"), 1);
    EXPECT_EQ(insert(mDatabase, mTable, "a", "second"), 1);
    size = 4;
    EXPECT_LT(mDatabase.DBQuery(mTable, "a", buffer, size), 0);
    EXPECT_STREQ(buffer, "-------");
    EXPECT_EQ(size, 4u);
    size = 8;
    EXPECT_EQ(mDatabase.DBQuery(mTable, "a", buffer, size), 0);
    EXPECT_STREQ(buffer, "12345--");
    EXPECT_EQ(size, 5u);
}

TEST_F(TavoDbTest, UpdatesReturnTheRowsTheyChanged) {
    const auto values = [&] { return valuesOf(mDatabase, mTable, "a", 3); };
    const auto change = [&](std::uint32_t operation) {
        return mDatabase.DBupdate(mTable, "a", "new", 3, operation);
    };
    EXPECT_EQ(change(DB_OP_UPDATE), 0);
    EXPECT_EQ(change(DB_OP_DELETE), 0);
    EXPECT_EQ(values(), "");
    insert(mDatabase, mTable, "a\0b"s, "zzz");
    for (const char* value : {"ccc", "aaa", "bbb"})
        insert(mDatabase, mTable, "a", value);
    EXPECT_EQ(values(), "ccc|aaa|bbb|");
    EXPECT_EQ(rows("SELECT seq, value FROM " + tavodb::sqlTableName("t") + " WHERE key = x'61'"),
              (Rows{{"1", "ccc"}, {"2", "aaa"}, {"3", "bbb"}}));
    EXPECT_EQ(change(DB_OP_UPDATE), 3);
    EXPECT_EQ(values(), "new|new|new|");
    insert(mDatabase, mTable, "a", "longer");
    EXPECT_EQ(values(), "failed");
    EXPECT_EQ(change(DB_OP_DELETE), 4);
    EXPECT_EQ(values(), "");
    EXPECT_EQ(valuesOf(mDatabase, mTable, "a\0b"s, 3), "zzz|");
    EXPECT_EQ(valuesOf(mDatabase, mTable, "a\0b"s, 4), "failed");
    EXPECT_LT(change(0), 0);
    EXPECT_LT(change(4), 0);
    EXPECT_LT(mDatabase.DBupdate(mTable, "a", nullptr, 1, DB_OP_INSERT), 0);
    EXPECT_EQ(mDatabase.DBupdate(mTable, "a", nullptr, 0, DB_OP_INSERT), 1);
    EXPECT_EQ(valuesOf(mDatabase, mTable, "a", 0), "|");
}

TEST_F(TavoDbTest, RowsOfAnAliasAreKeptUnderTheStoredKeyAloneAndAnsweredUnderTheCallers) {
    insert(mDatabase, mTable, "stored", "old");
    insert(mDatabase, mTable, "shown", "its");
    setTavoDbKeyAlias("shown", "stored");
    EXPECT_EQ(insert(mDatabase, mTable, "shown", "new"), 1);
    insert(mDatabase, mTable, "other", "two");
    EXPECT_EQ(valuesOf(mDatabase, mTable, "shown", 3), "old|new|");
    char first[4] = {};
    std::uint64_t size = 3;
    EXPECT_EQ(mDatabase.DBQuery(mTable, "shown", first, size), 0);
    EXPECT_STREQ(first, "old");
    EXPECT_EQ(mDatabase.DBupdate(mTable, "shown", nullptr, 0, DB_OP_DELETE), 2);
    setTavoDbKeyAlias("", "");
    EXPECT_EQ(valuesOf(mDatabase, mTable, "shown", 3), "its|");
    EXPECT_EQ(rowsOf("t"), (Rows{{"other", "two"}, {"shown", "its"}}));
}

TEST_F(TavoDbTest, TablesOfAllNamesStayApart) {
    const std::string kNames[] = {
        "",      "OrvoEP", "orvoep", "^orvo",         "%4f",
        "O",     "a\"b",   "a'b",    "a\0b"s,         "\xff",
        "tavo_", "a",      "a b",    "sqlite_master", "x; DROP TABLE y--"};
    for (const auto& name : kNames)
        insert(mDatabase, openTable(mDatabase, name), "k", '<' + name);
    for (const auto& name : kNames)
        EXPECT_EQ(rowsOf(name), (Rows{{"k", '<' + name}}));
    EXPECT_EQ(tavodb::sqlTableName("a_Z 9\xfe"), "\"tavo_a_^Z%209%fe\"");
}

TEST_F(TavoDbTest, TriggerOfAFileThatSomebodyElseMadeDoesNotRun) {
    const std::string table = tavodb::sqlTableName("t");
    tavodb::Connection other;
    ASSERT_TRUE(other.open(mPath, tavodb::Connection::Access::kReadWriteCreate) &&
                other.execute("CREATE TRIGGER foreign_one AFTER INSERT ON " + table +
                              " BEGIN DELETE FROM " + table + "; END"));
    insert(mDatabase, mTable, "a", "v");
    EXPECT_EQ(rowsOf("t"), (Rows{{"a", "v"}}));
}

TEST_F(TavoDbTest, HandlesAreUniqueAndRefusedWhenNotOpen) {
    TavoDB other;
    const auto sameAgain = openTable(mDatabase, "t");
    const auto others = openTable(other, "t");
    EXPECT_EQ((std::set<std::uint32_t>{0, mTable, sameAgain, others}.size()), 4u);
    EXPECT_EQ(mDatabase.DBclose(mTable), 0);
    std::uint64_t size = 0;
    for (const std::uint32_t handle : {0u, mTable, others, 0xffffffffu}) {
        EXPECT_LT(mDatabase.DBclose(handle), 0);
        EXPECT_LT(mDatabase.DBQuery(handle, "a", nullptr, size), 0);
        EXPECT_LT(insert(mDatabase, handle, "a", "v"), 0);
        EXPECT_EQ(valuesOf(mDatabase, handle, "a", 1), "failed");
    }
    EXPECT_EQ(insert(mDatabase, sameAgain, "a", "v"), 1);
    EXPECT_EQ(valuesOf(other, others, "a", 1), "v|");
}

TEST_F(TavoDbTest, BuffersOutliveOtherThreadsQueriesAndTables) {
    auto database = std::make_unique<TavoDB>();
    const auto table = openTable(*database, "t");
    insert(*database, table, "mine", "mine");
    insert(*database, table, "else", "else");
    std::vector<std::string> keys{"kept"};
    std::vector<void*> values{nullptr};
    ASSERT_EQ(database->DBQueryAll(table, "mine", keys, values, 4), 1);
    EXPECT_EQ(keys, (std::vector<std::string>{"kept", "mine"}));
    valuesOf(mDatabase, mTable, "else", 4);
    std::thread([&] { EXPECT_EQ(valuesOf(*database, table, "else", 4), "else|"); }).join();
    database->DBclose(table);
    EXPECT_EQ(std::memcmp(values.at(1), "mine", 4), 0);
    std::thread([&] {  // the object goes before the thread that used it
        valuesOf(*database, openTable(*database, "t"), "else", 4);
        database.reset();
    })
        .join();
}

// A thread's id is given to a later one, which would find what is left of it.
TEST(ResultBuffersTest, BufferGoesWithItsThread) {
    const auto buffers = std::make_shared<tavodb::ResultBuffers>();
    for (int i = 0; i < 8; ++i) {
        std::thread([&] {
            EXPECT_TRUE(buffers->ofThisThread().empty());
            buffers->ofThisThread().resize(1);
            EXPECT_EQ(buffers->ofThisThread().size(), 1U);
        }).join();
    }
}

// From here on it is the file: processes share it, or it is not usable. What kill
// -9 and a failing disk do to it is seen with the library on top.
using TavoDbFileTest = TempStore;

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

TEST_F(TavoDbFileTest, ProcessesShareTheFileWithoutLosingWrites) {
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

// For which SQLite does not wait by itself.
TEST_F(TavoDbFileTest, ChangeToTheWriteAheadLogWaitsForAnotherWriter) {
    constexpr auto kAccess = tavodb::Connection::Access::kReadWriteCreate;
    tavodb::Connection other;
    tavodb::Connection ours;
    ASSERT_TRUE(other.open(mFolder / "db", kAccess) && ours.open(mFolder / "db", kAccess));
    ASSERT_TRUE(other.execute("BEGIN IMMEDIATE"));
    std::thread end([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        other.execute("COMMIT");
    });
    EXPECT_TRUE(ours.execute("PRAGMA journal_mode = WAL"));
    end.join();
}

// Waits for it in vain for five seconds.
TEST_F(TavoDbFileTest, LockThatStaysFailsAWriteAndNotTheNext) {
    TavoDB database;
    const auto table = openTable(database, "t");
    tavodb::Connection other;
    ASSERT_TRUE(other.open(mPath, tavodb::Connection::Access::kReadWriteCreate));
    ASSERT_TRUE(other.execute("BEGIN IMMEDIATE"));
    EXPECT_LT(insert(database, table, "k", "v"), 0);
    EXPECT_THAT(mLogged, testing::Contains(testing::HasSubstr("database is locked")));
    ASSERT_TRUE(other.execute("COMMIT"));
    EXPECT_EQ(insert(database, table, "k", "v"), 1);
}

TEST_F(TavoDbFileTest, FinishedWriteHasReachedTheDisk) {
    TavoDB database;
    const auto table = openTable(database, "t");
    insert(database, table, "k", "1234");
    const int before = gFlushes;
    insert(database, table, "k", "5678");
    EXPECT_GT(gFlushes, before);
}

TEST_F(TavoDbFileTest, UnusableFilesAndPathsAreRefusedUnchanged) {
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

TEST_F(TavoDbFileTest, RowsUpToADamagedPageAreNotTakenForAll) {
    {
        TavoDB database;
        const auto table = openTable(database, "t");
        for (int i = 0; i < 100; ++i)
            insert(database, table, "k", std::string(100, 'v'));
    }
    std::fstream file(mPath, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(-4096, std::ios::end) << std::string(4096, 'x') << std::flush;
    TavoDB database;
    EXPECT_EQ(valuesOf(database, openTable(database, "t"), "k", 100), "failed");
}

// As on a network's, whose files cannot be mapped in shared memory.
TEST_F(TavoDbFileTest, FileSystemWithoutAWriteAheadLogIsRefused) {
    sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
    sqlite3_vfs_register(sqlite3_vfs_find("unix-dotfile"), 1);
    TavoDB database;
    std::uint32_t handle = 0;
    EXPECT_LT(database.DBopen("t", handle), 0);
    EXPECT_THAT(mLogged, testing::Contains(testing::HasSubstr("write-ahead log")));
    sqlite3_vfs_register(usual, 1);
}

TEST_F(TavoDbFileTest, NamesSpecialToTheEngineAreFileNames) {
    fs::current_path(mFolder / ".");
    for (const char* name : {":memory:", "file:x?mode=memory"}) {
        use(name);
        TavoDB database;
        openTable(database, "t");
        EXPECT_TRUE(fs::exists(mFolder / name)) << name;
    }
    fs::current_path("/");
}

}  // namespace

// In place of the system's: SQLite flushes with it.
extern "C" int fdatasync(int fildes) {
    ++gFlushes;
    return fsync(fildes);
}
