// A store's rows as the library writes them, or as it never should.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "framework/tavodb/schema.h"
#include "framework/tavodb/sqlite.h"
#include "store/tavo_db.h"

/// Adds a row to a table of the store, which is made where it is missing.
inline void addRow(const std::string& file, const std::string& table, const std::string& package,
                   const std::vector<std::int32_t>& words) {
    tavodb::Connection store;
    tavodb::Statement insertion;
    ASSERT_TRUE(store.open(file, tavodb::Connection::Access::kReadWriteCreate));
    ASSERT_TRUE(store.execute(tavodb::createSql(table)));
    ASSERT_TRUE(insertion.prepare(store, tavodb::writeSql(table, DB_OP_INSERT)));
    ASSERT_TRUE(insertion.bind(1, package));
    ASSERT_TRUE(insertion.bind(2, words.data(), words.size() * sizeof words[0]));
    ASSERT_EQ(insertion.step(), tavodb::Outcome::kDone);
}
