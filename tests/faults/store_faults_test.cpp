// The whole library when its database fails it: the host lives on, what was
// stored stays, and the log says what happened.
#include <csignal>
#include <sys/wait.h>

#include "platform/tavo_log.h"
#include "tests/faults/real_store.h"

namespace {

namespace fs = std::filesystem;
using Access = tavodb::Connection::Access;

class StoreFaultsTest : public RealStore {
protected:
    void store(const Counts& launches) {
        inHost([&](LogCapture&) {
            for (const auto& [app, count] : launches)
                for (int i = 0; i < count; ++i)
                    launch(app);
        });
        ASSERT_EQ(launchCounts(), launches);
    }

    /// A launch event that the store cannot count wakes the learner all the same.
    static void expectUncounted(LogCapture& log, const std::string& app, const char* reason) {
        log.take();
        setTavoLogLevel(4);
        EXPECT_EQ(launch(app), 0);
        setTavoLogLevel(0);
        const std::string lines = log.take();
        for (const std::string& line :
             {"Failed to update status for app " + app,
              "waking up learning thread for appName:" + app, std::string(reason)}) {
            EXPECT_NE(lines.find(line), std::string::npos) << line << " is not in: " << lines;
        }
    }
};

TEST_F(StoreFaultsTest, FullDiskLosesTheLaunchesOfThatTimeAlone) {
    const std::string filler = mFolder / "filler";
    store({{"a", 3}});
    inHost([&](LogCapture& log) {
        launch("a");
        while ((std::ofstream(filler, std::ios::app) << std::string(4096, 'x')).flush())
            continue;
        expectUncounted(log, "b", "disk is full");
        EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
        erase("a");
        fs::remove(filler);
        launch("a");
    });
    // The failed erasure may have found room in the log for its first table.
    const Counts counts = launchCounts();
    EXPECT_TRUE(counts == (Counts{{"a", 5}}) || counts == (Counts{{"a", 1}}))
        << testing::PrintToString(counts);
}

TEST_F(StoreFaultsTest, StoreThatDoesNotOpenLeavesTheHostWithoutOne) {
    store({{"a", 3}});
    const std::string good = mPath;
    const std::string readOnly =
        ORVO_READ_ONLY_DISK + good.substr(std::string(ORVO_SMALL_DISK).size());
    for (const std::string& path : {readOnly, readOnly + "/new/orvo.db", mFolder / ".", {}}) {
        SCOPED_TRACE(path);
        use(path);
        inHost([&](LogCapture& log) {
            EXPECT_EQ(log.count("Could not open DB:OrvoLearning"), 1);
            expectUncounted(log, "a", "");
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
            EXPECT_EQ(ask(ORVO_GET_SAMPLE_AVERAGE, "a"), 0);
            EXPECT_EQ(erase("a"), 0);
        });
    }
    use(good);
    EXPECT_EQ(launchCounts(), (Counts{{"a", 3}}));
}

TEST_F(StoreFaultsTest, StateFolderThatVanishesIsReportedAtEveryWrite) {
    inHost([&](LogCapture& log) {
        launch("a");
        fs::remove_all(fs::path(mPath).parent_path());
        expectUncounted(log, "a", "removed or replaced");
        expectUncounted(log, "a", "removed or replaced");
    });
}

TEST_F(StoreFaultsTest, LockOfAnotherProcessCostsTheLaunchesOfThatTimeAlone) {
    store({{"a", 3}});
    const pid_t locker = fork();
    if (locker == 0) {
        tavodb::Connection connection;
        const bool isLocked = connection.open(mPath, Access::kReadWriteCreate) &&
                              connection.execute("BEGIN EXCLUSIVE");
        std::ofstream(mFolder / "is-locked") << isLocked;
        pause();
    }
    while (contentOf(mFolder / "is-locked").empty())
        usleep(1000);
    inHost([&](LogCapture& log) {
        expectUncounted(log, "a", "database is locked");
        EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
        kill(locker, SIGKILL);
        launch("a");
    });
    waitpid(locker, nullptr, 0);
    EXPECT_EQ(launchCounts(), (Counts{{"a", 4}}));
}

void overwrite(const std::string& path, std::uintmax_t from, std::uintmax_t length) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(from));
    for (std::uintmax_t i = 0; i < length; ++i)
        file.put(static_cast<char>(i * 167 + 13));
}

TEST_F(StoreFaultsTest, DamagedFileIsReportedAndNeverCrashesTheHost) {
    Counts launches;
    for (int i = 0; i < 300; ++i)
        launches[std::string(40, 'n') + std::to_string(i)] = 1;
    store(launches);
    const std::string good = mPath;
    {  // all of it into the file itself
        tavodb::Connection connection;
        ASSERT_TRUE(connection.open(good, Access::kReadWriteCreate) &&
                    connection.execute("PRAGMA wal_checkpoint(TRUNCATE)"));
    }
    constexpr std::uintmax_t kPage = 4096;
    const std::uintmax_t size = fs::file_size(good);
    ASSERT_GE(size, 6 * kPage);
    use(mFolder / "damaged.db");
    const auto expectReported = [&](const std::function<void()>& damage) {
        fs::remove(mPath + "-wal");
        fs::copy_file(good, mPath, fs::copy_options::overwrite_existing);
        damage();
        inHost([&](LogCapture& log) {
            for (const auto& [app, count] : launches) {
                launch(app);
                ask(ORVO_GET_FINAL_ENDPOINT, app);
                ask(ORVO_GET_SAMPLE_AVERAGE, app);
            }
            erase(launches.begin()->first);
            EXPECT_GE(log.count("malformed") + log.count("not a database") + log.count("I/O"), 1);
        });
    };
    for (const std::uintmax_t length : {std::uintmax_t{17}, kPage, size / 2, size - kPage}) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        expectReported([&] { fs::resize_file(mPath, length); });
    }
    for (std::uintmax_t page = 0; page < size / kPage; ++page) {
        SCOPED_TRACE("overwritten page " + std::to_string(page));
        expectReported([&] { overwrite(mPath, page * kPage, kPage); });
    }
    expectReported([&] { overwrite(mPath, 0, size); });
}

TEST_F(StoreFaultsTest, NamesOfEveryByteAndLengthStayApart) {
    Counts launches;
    for (int byte = 0; byte < 256; ++byte)
        launches[{'a', static_cast<char>(byte), 'b'}] = 1;
    for (std::size_t length = 1; length <= 65536; length *= 2)
        launches[std::string(length, 'n')] = launches[std::string(length - 1, 'n') + 'm'] = 1;
    store(launches);
    inHost([&](LogCapture& log) {
        setTavoLogLevel(4);
        for (const auto& [app, count] : launches) {
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, app), 0);
            EXPECT_EQ(ask(ORVO_GET_PID, app), 1);
            erase(app);
        }
        for (const LogLine& line : log.lines())
            EXPECT_NE(line.tag, "TAVO-DB") << line.text;
    });
    EXPECT_TRUE(launchCounts().empty());
}

}  // namespace
