// What the database's operations promise, on a store that works.
#include <array>
#include <atomic>
#include <cstring>
#include <set>
#include <thread>

#include "tests/framework/temp_store.h"

namespace {

using namespace std::string_literals;

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
    for (const char* value : {"ccc", "aaa", "bbb"})
        insert(mDatabase, mTable, "a", value);
    insert(mDatabase, mTable, "ab", "zzz");
    EXPECT_EQ(values(), "ccc|aaa|bbb|");
    EXPECT_EQ(change(DB_OP_UPDATE), 3);
    EXPECT_EQ(values(), "new|new|new|");
    insert(mDatabase, mTable, "a", "longer");
    EXPECT_EQ(values(), "failed");
    EXPECT_EQ(change(DB_OP_DELETE), 4);
    EXPECT_EQ(values(), "");
    EXPECT_EQ(valuesOf(mDatabase, mTable, "ab", 3), "zzz|");
    EXPECT_LT(change(0), 0);
    EXPECT_LT(change(4), 0);
    EXPECT_LT(mDatabase.DBupdate(mTable, "a", nullptr, 1, DB_OP_INSERT), 0);
}

TEST_F(TavoDbTest, KeysAndValuesMayBeAnyBytes) {
    const std::string kKeys[] = {"", "\0"s, "\0a"s, "a", "A", "a\0"s, "a'", "a\"b", "%", "\xff"};
    for (const auto& key : kKeys)
        insert(mDatabase, mTable, key, '<' + key);
    for (const auto& key : kKeys)
        EXPECT_EQ(valuesOf(mDatabase, mTable, key, key.size() + 1), '<' + key + '|') << key;
    EXPECT_EQ(mDatabase.DBupdate(mTable, "empty", nullptr, 0, DB_OP_INSERT), 1);
    EXPECT_EQ(valuesOf(mDatabase, mTable, "empty", 0), "|");
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

TEST_F(TavoDbTest, ThreadsShareHandlesWithoutLosingWrites) {
    constexpr std::size_t kRounds = 15;
    std::atomic<int> failures{0};
    const auto work = [&](char id) {
        const auto own = openTable(mDatabase, {id});
        const std::string value(4, id);
        for (std::size_t round = 1; round <= kRounds; ++round) {
            failures += insert(mDatabase, mTable, "all", value) != 1;
            failures += insert(mDatabase, own, "k", value) != 1;
            failures += valuesOf(mDatabase, own, "k", 4).size() != 5u * round;
            for (int i = 0; i < 50; ++i) {
                char first[4];
                std::uint64_t size = 4;
                failures += mDatabase.DBQuery(mTable, "all", first, size) != 0;
            }
            failures += valuesOf(mDatabase, mTable, "all", 4) == "failed";
        }
        failures += mDatabase.DBclose(own) != 0;
    };
    std::array<std::thread, 6> threads;
    char id = 'a';
    for (auto& thread : threads)
        thread = std::thread(work, id++);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(valuesOf(mDatabase, mTable, "all", 4).size(), 5u * threads.size() * kRounds);
}

}  // namespace
