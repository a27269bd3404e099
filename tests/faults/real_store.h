// The library on its real database, in host processes of the test's own.
#pragma once

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "feature/orvo.h"
#include "framework/tavodb/schema.h"
#include "framework/tavodb/sqlite.h"
#include "tests/support/log_capture.h"

class RealStore : public testing::Test {
protected:
    using Rows = std::vector<std::pair<std::string, std::string>>;  // key, value

    RealStore() {
        mFolder = ORVO_SMALL_DISK "/XXXXXX";
        if (mkdtemp(mFolder.data()) == nullptr) std::abort();
        use(mFolder + "/state/orvo.db");
    }
    ~RealStore() override { std::filesystem::remove_all(mFolder); }

    void use(const std::string& database) {
        mDatabase = database;
        setenv("TAVO_DB_PATH", database.c_str(), 1);
    }

    /// Runs `host` in a process that has initialised the library. Its failures,
    /// and its death, are the test's.
    void inHost(const std::function<void(LogCapture&)>& host) {
        const auto run = [&, before = parts().total_part_count()] {
            LogCapture log;
            std::string none;
            EXPECT_EQ(setData(ORVO_SET_INIT, none, nullptr), 0);
            host(log);
            _exit(tellFailures(before));
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
    }

    static std::int32_t launch(std::string app) {
        std::int32_t message[2] = {1, 0};
        return setData(ORVO_SET_LAUNCH, app, message);
    }
    static std::int32_t ask(OrvoGetOp op, std::string app) { return getData(op, app); }

    /// Every row of the table; fails the test when the file cannot be read.
    Rows rowsOf(const std::string& table) {
        tavodb::Connection connection;
        tavodb::Statement rows;
        EXPECT_TRUE(connection.open(mDatabase, tavodb::Connection::Access::kReadOnly));
        EXPECT_TRUE(rows.prepare(connection, tavodb::selectAllSql(table)));
        Rows result;
        tavodb::Outcome outcome = rows.step();
        for (; outcome == tavodb::Outcome::kRow; outcome = rows.step())
            result.emplace_back(textOf(rows.column(0)), textOf(rows.column(1)));
        EXPECT_EQ(outcome, tavodb::Outcome::kDone);
        return result;
    }

    /// Launch counts by package; fails the test for a row that is no status.
    std::map<std::string, std::int32_t> launchCounts() {
        std::map<std::string, std::int32_t> counts;
        for (const auto& [app, status] : rowsOf("OrvoStatus")) {
            EXPECT_TRUE(status.size() == 8 && static_cast<unsigned char>(status[0]) <= 1 &&
                        status.compare(1, 3, "\0\0\0", 3) == 0)
                << app << ": " << testing::PrintToString(status);
            EXPECT_EQ(counts.count(app), 0U) << app;
            std::memcpy(&counts[app], status.data() + 4, sizeof(std::int32_t));
        }
        return counts;
    }

    std::string mFolder;
    std::string mDatabase;

private:
    static const testing::TestResult& parts() {
        return *testing::UnitTest::GetInstance()->current_test_info()->result();
    }

    /// GoogleTest shows of a child process what it wrote to standard error alone.
    static int tellFailures(int from) {
        int failures = 0;
        for (int i = from; i < parts().total_part_count(); ++i, ++failures)
            std::fprintf(stderr, "%s\n", parts().GetTestPartResult(i).summary());
        return failures;
    }

    static std::string textOf(tavodb::Bytes bytes) {
        return {static_cast<const char*>(bytes.data), bytes.size};
    }
};
