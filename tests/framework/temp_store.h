// A database of the test's own, what is in it, and its log lines.
#pragma once

#include <android/log.h>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "framework/tavodb/schema.h"
#include "framework/tavodb/sqlite.h"
#include "store/tavo_db.h"
#include "tests/framework/temp_folder.h"

class TempStore : public testing::Test {
protected:
    using Rows = std::vector<std::pair<std::string, std::string>>;  ///< key, value

    explicit TempStore(const std::string& parent = testing::TempDir()) : mFolder(parent) {
        use(mFolder / "state/orvo.db");
        mLogged.clear();
        __android_log_set_logger([](const __android_logger_data*, const char* message) {
            mLogged.emplace_back(message);
        });
    }

    /// Makes `path` the database that is opened from now on.
    void use(const std::string& path) {
        mPath = path;
        setenv("TAVO_DB_PATH", path.c_str(), 1);
    }

    static std::uint32_t openTable(TavoDB& database, const std::string& name) {
        std::uint32_t handle = 0;
        EXPECT_EQ(database.DBopen(name, handle), 0);
        return handle;
    }

    static std::int32_t insert(TavoDB& database, std::uint32_t handle, const std::string& key,
                               const std::string& value) {
        return database.DBupdate(handle, key, value.data(), value.size(), DB_OP_INSERT);
    }

    /// All values of the key, with a '|' behind each; "failed" for a negative result.
    static std::string valuesOf(TavoDB& database, std::uint32_t handle, const std::string& key,
                                std::uint64_t size) {
        std::vector<std::string> keys;
        std::vector<void*> values;
        if (database.DBQueryAll(handle, key, keys, values, size) < 0) return "failed";
        EXPECT_EQ(keys, std::vector<std::string>(values.size(), key));
        std::string all;
        for (const void* value : values)
            all.append(static_cast<const char*>(value), size) += '|';
        return all;
    }

    /// Every row of the table, as other programs read it; fails the test when they cannot.
    Rows rowsOf(const std::string& table) const { return rows(tavodb::selectAllSql(table)); }

    /// The first two columns of what the statement finds.
    Rows rows(const std::string& sql) const {
        tavodb::Connection connection;
        tavodb::Statement statement;
        EXPECT_TRUE(connection.open(mPath, tavodb::Connection::Access::kReadOnly));
        EXPECT_TRUE(statement.prepare(connection, sql));
        Rows result;
        tavodb::Outcome outcome = statement.step();
        for (; outcome == tavodb::Outcome::kRow; outcome = statement.step())
            result.emplace_back(textOf(statement.column(0)), textOf(statement.column(1)));
        EXPECT_EQ(outcome, tavodb::Outcome::kDone);
        return result;
    }

    void expectIntact() const { EXPECT_EQ(rows("PRAGMA integrity_check"), (Rows{{"ok", ""}})); }

    const TempFolder mFolder;
    std::string mPath;
    static inline std::vector<std::string> mLogged;

private:
    static std::string textOf(tavodb::Bytes bytes) {
        return {static_cast<const char*>(bytes.data), bytes.size};
    }
};
