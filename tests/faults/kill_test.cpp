// Hosts killed at random moments, from their start on, and what they leave.
#include <chrono>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <thread>

#include "store/orvo_dblayer.h"
#include "tests/faults/real_store.h"

namespace {

constexpr int kPackages = 4;
constexpr std::int32_t kErasedAt = 500;  // the launch event that starts a package anew

std::string packageName(std::uint32_t number) {
    return "app." + std::to_string(number % kPackages);
}

/// What the learning thread writes for packages that are learned, over and over.
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
    /// Launches the packages in turn, reporting each launch that was counted.
    [[noreturn]] static void host(int report) {
        LogCapture log;
        std::string none;
        setData(ORVO_SET_INIT, none, nullptr);
        std::thread(learn).detach();
        for (std::uint32_t i = 0; write(report, "", 1) == 1; ++i)
            launch(packageName(i));
        _exit(1);
    }

    /// Runs a host for so long; returns how many launches it reported.
    static std::uint32_t launchesUntilKilled(std::chrono::microseconds life) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) host(ends[1]);
        close(ends[1]);
        std::this_thread::sleep_for(life);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it ended by itself";
        // It reports before each launch, so that the last one is not counted yet.
        std::uint32_t reports = 0;
        for (char report = 0; read(ends[0], &report, 1) == 1;)
            ++reports;
        close(ends[0]);
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
        for (std::uint32_t i = 0; i < kPackages; ++i) {
            const std::string app = packageName(i);
            // The launch under way when it was killed may have been counted.
            const std::int32_t surplus = i == launches % kPackages ? 1 : 0;
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
