// The library on its real database, in host processes of the test's own.
#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <unistd.h>

#include "feature/orvo.h"
#include "tests/framework/temp_store.h"
#include "tests/support/log_capture.h"

class RealStore : public TempStore {
protected:
    using Counts = std::map<std::string, std::int32_t>;

    RealStore() : TempStore(ORVO_SMALL_DISK) {}

    /// Runs `host` in a process that has initialised the library. Its failures,
    /// and its death, are the test's.
    static void inHost(const std::function<void(LogCapture&)>& host) {
        const auto run = [&] {
            LogCapture log;
            std::string none;
            EXPECT_EQ(setData(ORVO_SET_INIT, none, nullptr), 0);
            host(log);
            tellFailures();
            _exit(HasFailure() ? 1 : 0);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
    }

    static std::int32_t launch(std::string app) {
        std::int32_t message[2] = {1, 0};
        return setData(ORVO_SET_LAUNCH, app, message);
    }
    /// Three entries, at an odd address. By default they would block their sender.
    static std::int32_t sendFdInfo(std::string app) {
        char fdInfo[1 + 4 + 3 * 4] = {};
#ifdef ORVO_HARDENED_LOCKING
        fdInfo[1] = 3;
#endif
        return setData(ORVO_SET_FD_INFO, app, fdInfo + 1);
    }
    static std::int32_t erase(std::string app) {
        return setData(ORVO_SET_ERASE, app, nullptr);
    }
    static std::int32_t stop() {
        std::string any = "-";
        return setData(ORVO_SET_STOP, any, nullptr);
    }
    static std::int32_t ask(OrvoGetOp op, std::string app) {
        return getData(op, app);
    }

    /// Launch counts by package; fails the test for a row that is not a status.
    Counts launchCounts() const {
        Counts counts;
        for (const auto& [app, status] : rowsOf("OrvoStatus")) {
            EXPECT_TRUE(status.size() == 8 && static_cast<unsigned char>(status[0]) <= 1 &&
                        status.compare(1, 3, "\0\0\0", 3) == 0)
                << app << ": " << testing::PrintToString(status);
            EXPECT_EQ(counts.count(app), 0U) << app;
            std::memcpy(&counts[app], status.data() + 4, sizeof(std::int32_t));
        }
        return counts;
    }

private:
    // GoogleTest shows of a child process what it wrote to standard error alone.
    static void tellFailures() {
        const auto& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
        for (int i = 0; i < result.total_part_count(); ++i)
            std::fprintf(stderr, "%s\n", result.GetTestPartResult(i).summary());
    }
};
