// The whole library when its database fails it, and when it is killed: the host
// lives on, what was stored stays, and the log says what happened.
#include <chrono>
#include <csignal>
#include <random>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>

#include "host/base/unique_fd.h"
#include "platform/tavo_log.h"
#include "store/orvo_dblayer.h"
#include "tests/faults/real_store.h"

namespace {

namespace fs = std::filesystem;

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

    // A launch event that the store cannot count wakes the learner all the same.
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

constexpr std::uintmax_t kSmallDisk = 64 << 20;  // and its own has a quarter of that

TEST_F(StoreFaultsTest, FullDiskLosesTheLaunchesOfThatTimeAlone) {
    ASSERT_LT(fs::space(ORVO_SMALL_DISK).capacity, kSmallDisk)
        << "that would fill a disk of others; ctest mounts a small one";
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

// Hosts killed at random moments, from their start on, and what they leave.

constexpr int kKilledPackages = 4;
constexpr std::int32_t kErasedAt = 500;  // the launch event that starts a package anew

std::string packageName(std::uint32_t number) {
    return "app." + std::to_string(number % kKilledPackages);
}

// What the learning thread writes for packages that are learned, over and over.
[[noreturn]] void learn() {
    for (std::int32_t round = 1;; ++round) {
        std::string app = "learned." + std::to_string(round % 3);
        for (int i = 0; i < 5; ++i)
            OrvoDBlayer::mOrvoDB.writeAppSample(app, round);
        OrvoDBlayer::mOrvoDB.writeFinalEP(app, round);
        OrvoDBlayer::mOrvoDB.deleteAppSamples(app);
        OrvoDBlayer::mOrvoDB.eraseLearning(app);
    }
}

class KilledHostTest : public RealStore {
protected:
    // Launches the packages in turn, reporting each launch that was counted.
    [[noreturn]] static void host(int report) {
        LogCapture log;
        std::string none;
        setData(ORVO_SET_INIT, none, nullptr);
        std::thread(learn).detach();
        for (std::uint32_t i = 0; write(report, "", 1) == 1; ++i)
            launch(packageName(i));
        _exit(1);
    }

    // Runs a host for so long; returns how many launches it reported.
    static std::uint32_t launchesUntilKilled(std::chrono::microseconds life) {
        host::Pipe pipe;
        const pid_t child = fork();
        if (child == 0) host(pipe.writeEnd.get());
        if (child < 0) throw std::runtime_error("cannot fork");  // kill(-1) ends everything
        pipe.writeEnd.reset();
        std::this_thread::sleep_for(life);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it ended by itself";
        // It reports before each launch, so that the last one is not counted yet.
        std::uint32_t reports = 0;
        for (char report = 0; read(pipe.readEnd.get(), &report, 1) == 1;)
            ++reports;
        return reports == 0 ? 0 : reports - 1;
    }
};

TEST_F(KilledHostTest, LosesNoCountedLaunchAndLeavesNoHalfWrittenRow) {
    std::mt19937 random(11);
    Counts expected;
    std::uint32_t total = 0;
    for (int round = 0; round < ORVO_KILL_ROUNDS; ++round) {
        SCOPED_TRACE(round);
        const std::uint32_t launches =
            launchesUntilKilled(std::chrono::microseconds(random() % ORVO_KILL_WITHIN_US));
        for (std::uint32_t i = 0; i < launches; ++i)
            ++expected[packageName(i)];
        total += launches;
        if (total == 0) continue;  // there may be no database yet
        Counts counts = launchCounts();
        for (std::uint32_t i = 0; i < kKilledPackages; ++i) {
            const std::string app = packageName(i);
            // The launch under way when it was killed may have been counted.
            const std::int32_t surplus = i == launches % kKilledPackages ? 1 : 0;
            const std::int32_t gained =
                (counts[app] - expected[app] % kErasedAt + kErasedAt) % kErasedAt;
            ASSERT_LE(gained, surplus) << app << " has " << counts[app];
            expected[app] += gained;
        }
        for (const char* table : {"OrvoLearning", "OrvoEP"}) {
            for (const auto& [app, value] : rowsOf(table))
                EXPECT_EQ(value.size(), sizeof(std::int32_t)) << table << ' ' << app;
        }
        expectIntact();
    }
    EXPECT_GT(total, 0U);
}

}  // namespace
