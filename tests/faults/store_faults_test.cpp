// The whole library when its database fails it: the host lives on, what was
// stored stays, and the log says what happened.
#include <csignal>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

#include "platform/tavo_log.h"
#include "tests/faults/real_store.h"

namespace {

namespace fs = std::filesystem;
using Counts = std::map<std::string, std::int32_t>;

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

    void moveLogIntoFile() const {
        tavodb::Connection connection;
        ASSERT_TRUE(connection.open(mDatabase, tavodb::Connection::Access::kReadWriteCreate));
        ASSERT_TRUE(connection.execute("PRAGMA wal_checkpoint(TRUNCATE)"));
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

    void fillDisk() const {
        std::ofstream filler(mFolder + "/filler", std::ios::app);
        for (const std::streamsize chunk : {65536, 1})
            while (filler.write(std::string(65536, 'x').data(), chunk).flush())
                continue;
    }
    void emptyDisk() const { fs::remove(mFolder + "/filler"); }
};

TEST_F(StoreFaultsTest, FullDiskLosesTheLaunchesOfThatTimeAlone) {
    store({{"a", 3}});
    inHost([&](LogCapture& log) {
        launch("a");
        fillDisk();
        expectUncounted(log, "b", "disk is full");
        EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
        std::string erased = "a";
        setData(ORVO_SET_ERASE, erased, nullptr);
        emptyDisk();
        launch("a");
    });
    // The failed erasure may have found room in the log for its first table.
    const Counts counts = launchCounts();
    EXPECT_TRUE(counts == (Counts{{"a", 5}}) || counts == (Counts{{"a", 1}}))
        << testing::PrintToString(counts);
}

TEST_F(StoreFaultsTest, StoreThatDoesNotOpenLeavesTheHostWithoutOne) {
    store({{"a", 3}});
    const std::string readOnly =
        std::string(ORVO_READ_ONLY_DISK) + mFolder.substr(mFolder.rfind('/'));
    const std::string good = mDatabase;
    const std::string cases[] = {
        readOnly + "/state/orvo.db",
        readOnly + "/new/orvo.db",
        mFolder,
        "",
    };
    for (const std::string& path : cases) {
        SCOPED_TRACE(path);
        use(path);
        inHost([&](LogCapture& log) {
            EXPECT_EQ(log.count("Could not open DB:OrvoLearning"), 1);
            expectUncounted(log, "a", "");
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
            EXPECT_EQ(ask(ORVO_GET_SAMPLE_AVERAGE, "a"), 0);
            std::string app = "a";
            EXPECT_EQ(setData(ORVO_SET_ERASE, app, nullptr), 0);
        });
    }
    use(good);
    EXPECT_EQ(launchCounts(), (Counts{{"a", 3}}));
}

TEST_F(StoreFaultsTest, StateFolderThatVanishesIsReportedAtEveryWrite) {
    inHost([&](LogCapture& log) {
        launch("a");
        fs::remove_all(fs::path(mDatabase).parent_path());
        expectUncounted(log, "a", "removed or replaced");
        expectUncounted(log, "a", "removed or replaced");
    });
}

/// A process that holds the database's write lock while the object lives.
class Locker {
public:
    explicit Locker(const std::string& database) {
        int ends[2];
        if (pipe(ends) != 0) std::abort();
        mPid = fork();
        if (mPid == 0) {
            tavodb::Connection connection;
            const bool isLocked =
                connection.open(database, tavodb::Connection::Access::kReadWriteCreate) &&
                connection.execute("BEGIN EXCLUSIVE");
            if (!isLocked || write(ends[1], "", 1) != 1) _exit(1);
            pause();
        }
        close(ends[1]);
        char held = 0;
        EXPECT_EQ(read(ends[0], &held, 1), 1);
        close(ends[0]);
    }
    ~Locker() {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

private:
    pid_t mPid;
};

TEST_F(StoreFaultsTest, LockOfAnotherProcessCostsTheLaunchesOfThatTimeAlone) {
    store({{"a", 3}});
    inHost([&](LogCapture& log) {
        {
            const Locker other(mDatabase);
            expectUncounted(log, "a", "database is locked");
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, "a"), 0);
        }
        launch("a");
    });
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
    moveLogIntoFile();
    const std::string good = mDatabase;
    const std::uintmax_t size = fs::file_size(good);
    constexpr std::uintmax_t kPage = 4096;
    ASSERT_GE(size, 6 * kPage);

    struct Damage {
        const char* what;
        std::function<void(const std::string&)> make;
    };
    std::vector<Damage> damages;
    for (const std::uintmax_t length : {std::uintmax_t{17}, kPage, size / 2, size - kPage})
        damages.push_back({"cut", [length](auto& path) { fs::resize_file(path, length); }});
    for (std::uintmax_t page = 0; page < size / kPage; ++page)
        damages.push_back({"page", [page](auto& path) { overwrite(path, page * kPage, kPage); }});
    damages.push_back({"all", [size](auto& path) { overwrite(path, 0, size); }});

    for (std::size_t i = 0; i < damages.size(); ++i) {
        SCOPED_TRACE(std::string(damages[i].what) + " " + std::to_string(i));
        use(mFolder + "/damaged.db");
        fs::remove(mDatabase + "-wal");
        fs::copy_file(good, mDatabase, fs::copy_options::overwrite_existing);
        damages[i].make(mDatabase);
        inHost([&](LogCapture& log) {
            for (const auto& [app, count] : launches) {
                launch(app);
                ask(ORVO_GET_FINAL_ENDPOINT, app);
                ask(ORVO_GET_SAMPLE_AVERAGE, app);
            }
            std::string app = launches.begin()->first;
            setData(ORVO_SET_ERASE, app, nullptr);
            EXPECT_GE(log.count("malformed") + log.count("not a database") + log.count("I/O"), 1);
        });
    }
}

TEST_F(StoreFaultsTest, NamesOfEveryByteAndLengthStayApart) {
    Counts launches;
    for (int byte = 0; byte < 256; ++byte)
        launches[{'a', static_cast<char>(byte), 'b'}] = 1;
    for (std::size_t length = 1; length <= 65536; length *= 2)
        for (const std::size_t near : {length - 1, length, length + 1})
            if (near >= 1 && near <= 65536) launches[std::string(near, 'n')] = 1;
    store(launches);
    inHost([&](LogCapture& log) {
        setTavoLogLevel(4);
        for (const auto& [app, count] : launches) {
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, app), 0);
            EXPECT_EQ(ask(ORVO_GET_PID, app), 1);
            std::string erased = app;
            setData(ORVO_SET_ERASE, erased, nullptr);
        }
        for (const LogLine& line : log.lines())
            EXPECT_NE(line.tag, "TAVO-DB") << line.text;
    });
    EXPECT_TRUE(launchCounts().empty());
}

}  // namespace
