// What the database's operations promise, on a store that works.
#include <array>
#include <atomic>
#include <cstring>
#include <set>
#include <thread>

#include "tests/framework/temp_store.h"

namespace {

using TavoDbTest = TempStore;
using namespace std::string_literals;

TEST_F(TavoDbTest, QueryCopiesTheOldestValueOrLeavesTheBufferAlone) {
    TavoDB database;
    const auto table = openTable(database, "OrvoStatus");
    char buffer[8] = "-------";
    std::uint64_t size = 8;
    EXPECT_GT(database.DBQuery(table, "a", buffer, size), 0);
    EXPECT_EQ(insert(database, table, "a", "12345"), 1);
    EXPECT_EQ(insert(database, table, "a", "second"), 1);
    size = 4;
    EXPECT_LT(database.DBQuery(table, "a", buffer, size), 0);
    EXPECT_STREQ(buffer, "-------");
    EXPECT_EQ(size, 4u);
    size = 5;
    EXPECT_EQ(database.DBQuery(table, "a", buffer, size), 0);
    EXPECT_STREQ(buffer, "12345--");
    size = 8;
    EXPECT_EQ(database.DBQuery(table, "a", buffer, size), 0);
    EXPECT_EQ(size, 5u);
}

TEST_F(TavoDbTest, UpdatesReturnTheRowsTheyChanged) {
    TavoDB database;
    const auto table = openTable(database, "OrvoLearning");
    EXPECT_EQ(database.DBupdate(table, "a", "new", 3, DB_OP_UPDATE), 0);
    EXPECT_EQ(database.DBupdate(table, "a", nullptr, 0, DB_OP_DELETE), 0);
    EXPECT_EQ(valuesOf(database, table, "a", 3), "");
    for (const char* value : {"ccc", "aaa", "bbb"})
        insert(database, table, "a", value);
    insert(database, table, "ab", "zzz");
    EXPECT_EQ(valuesOf(database, table, "a", 3), "ccc|aaa|bbb|");
    EXPECT_EQ(database.DBupdate(table, "a", "new", 3, DB_OP_UPDATE), 3);
    EXPECT_EQ(valuesOf(database, table, "a", 3), "new|new|new|");
    insert(database, table, "a", "longer");
    EXPECT_EQ(valuesOf(database, table, "a", 3), "failed");
    EXPECT_EQ(database.DBupdate(table, "a", nullptr, 0, DB_OP_DELETE), 4);
    EXPECT_EQ(valuesOf(database, table, "a", 3), "");
    EXPECT_EQ(valuesOf(database, table, "ab", 3), "zzz|");
    EXPECT_LT(database.DBupdate(table, "a", "x", 1, 0), 0);
    EXPECT_LT(database.DBupdate(table, "a", "x", 1, 4), 0);
    EXPECT_LT(database.DBupdate(table, "a", nullptr, 1, DB_OP_INSERT), 0);
}

TEST_F(TavoDbTest, KeysAndValuesMayBeAnyBytes) {
    TavoDB database;
    const auto table = openTable(database, "t");
    const std::string kKeys[] = {"", "\0"s, "\0a"s, "a", "A", "a\0"s, "a'", "a\"b", "%", "\xff"};
    for (const auto& key : kKeys)
        insert(database, table, key, '<' + key);
    for (const auto& key : kKeys) {
        EXPECT_EQ(valuesOf(database, table, key, key.size() + 1), '<' + key + '|') << key;
    }
    EXPECT_EQ(database.DBupdate(table, "empty", nullptr, 0, DB_OP_INSERT), 1);
    std::uint64_t size = 0;
    EXPECT_EQ(database.DBQuery(table, "empty", nullptr, size), 0);
    EXPECT_EQ(valuesOf(database, table, "empty", 0), "|");
}

TEST_F(TavoDbTest, TablesOfAllNamesStayApart) {
    const std::string kNames[] = {
        "",      "OrvoEP", "orvoep", "^orvo",         "%4f",
        "O",     "a\"b",   "a'b",    "a\0b"s,         "\xff",
        "tavo_", "a",      "a b",    "sqlite_master", "x; DROP TABLE y--"};
    TavoDB database;
    for (const auto& name : kNames)
        insert(database, openTable(database, name), "k", '<' + name);
    TavoDB other;
    for (const auto& name : kNames) {
        EXPECT_EQ(valuesOf(other, openTable(other, name), "k", name.size() + 1), '<' + name + '|');
    }
}

TEST_F(TavoDbTest, HandlesAreUniqueAndRefusedWhenNotOpen) {
    TavoDB database, other;
    const auto table = openTable(database, "t");
    const auto sameAgain = openTable(database, "t");
    const auto others = openTable(other, "t");
    EXPECT_EQ((std::set<std::uint32_t>{table, sameAgain, others}.size()), 3u);
    EXPECT_EQ(database.DBclose(table), 0);
    std::uint64_t size = 0;
    EXPECT_NE(table, 0u);
    for (const std::uint32_t handle : {0u, table, others, 0xffffffffu}) {
        EXPECT_LT(database.DBclose(handle), 0);
        EXPECT_LT(database.DBQuery(handle, "a", nullptr, size), 0);
        EXPECT_LT(insert(database, handle, "a", "v"), 0);
        EXPECT_EQ(valuesOf(database, handle, "a", 1), "failed");
    }
    EXPECT_EQ(insert(database, sameAgain, "a", "v"), 1);
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
    TavoDB another;
    valuesOf(another, openTable(another, "t"), "else", 4);
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
    TavoDB database;
    const auto shared = openTable(database, "shared");
    std::atomic<int> failures{0};
    const auto work = [&](char id) {
        const auto own = openTable(database, {id});
        const std::string value(4, id);
        for (std::size_t round = 1; round <= kRounds; ++round) {
            failures += insert(database, shared, "all", value) != 1;
            failures += insert(database, own, "k", value) != 1;
            failures += valuesOf(database, own, "k", 4).size() != 5u * round;
            for (int i = 0; i < 50; ++i) {
                char first[4];
                std::uint64_t size = 4;
                failures += database.DBQuery(shared, "all", first, size) != 0;
            }
            failures += valuesOf(database, shared, "all", 4) == "failed";
        }
        failures += database.DBclose(own) != 0;
    };
    std::array<std::thread, 6> threads;
    char id = 'a';
    for (auto& thread : threads)
        thread = std::thread(work, id++);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(valuesOf(database, shared, "all", 4).size(), 5u * threads.size() * kRounds);
}

}  // namespace
