// Mixed operations from many threads, on the real database.
#include <android/log.h>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>

#include "platform/tavo_log.h"
#include "tests/faults/real_store.h"
#include "tests/support/device.h"

namespace {

#ifdef ORVO_HARDENED_LOCKING
constexpr bool kMayShutDown = true;
#else
constexpr bool kMayShutDown = false;  // it empties the series under the thread's hands
#endif

class LoadTest : public RealStore {
protected:
    LoadTest() {
        const std::string properties = mFolder / "properties";
        std::ofstream(properties) << "debug.vendor.zorv.enable.lm_csv_dump=true\n";
        setenv("TAVO_PROPERTIES", properties.c_str(), 1);
        device::setTasks(std::to_string(mLiving.pid()));
    }
    ~LoadTest() override {
        device::setTasks("");
        unlink(device::dumpPath("living").c_str());
    }

    const device::Child mLiving = device::Child::named("living");
};

// --- For seconds among the other tests, for long by scripts/soak.

constexpr unsigned kSoakThreads = 8;
constexpr unsigned kPackages = 1000;
constexpr std::int32_t kRelearnAt = 499;
constexpr long kGrowthLimitKb = 2048;

std::chrono::seconds soakTime() {
    const char* const asked = std::getenv("ORVO_SOAK_SECONDS");
    return std::chrono::seconds(asked == nullptr ? ORVO_SOAK_SECONDS : std::atoi(asked));
}

// Except for lines that are about no failure, or about a missing process, which most
// packages here do not have.
void expectNoError(const __android_logger_data* data, const char* line) {
    if (data->priority < ANDROID_LOG_ERROR) return;
    for (const char* const expected :
         {"UPDATE_FD_INFO", "PID from Map", "dump property not set", "Failed to fetch samples",
          "Failed to get pid", "Giving up on hunt", "Could not find pid"}) {
        if (std::strstr(line, expected) != nullptr) return;
    }
    ADD_FAILURE() << line;
}

long residentKb() {
    std::ifstream statm("/proc/self/statm");
    long whole = 0;
    long resident = 0;
    statm >> whole >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// Files that the current launch and the eight threads happen to have open at either
// look; a leak grows with every operation.
constexpr std::ptrdiff_t kOpenInPassing = 16;

class SoakTest : public LoadTest {
protected:
    // Operates on packages of its own, which it returns with the launches that
    // each must have by now, and on the one whose process exists.
    static Counts operateUntil(std::chrono::steady_clock::time_point end, unsigned number) {
        Counts launches;
        std::mt19937 random(number);
        while (std::chrono::steady_clock::now() < end) {
            const std::string app = "soak." + std::to_string(number) + '.' +
                                    std::to_string(random() % (kPackages / kSoakThreads));
            operate(app, random() % 100, launches[app]);
        }
        return launches;
    }

private:
    // One at a time: two first events of a package may each add a row, for counting
    // takes no lock.
    static void launchLiving() {
        static std::mutex oneAtATime;
        const std::lock_guard<std::mutex> lock(oneAtATime);
        EXPECT_EQ(launch("living"), 0);
    }

    static void operate(const std::string& app, unsigned long kind, std::int32_t& launches) {
        if (kind < 50) {
            EXPECT_EQ(launch(app), 0);
            launches = launches == kRelearnAt ? 0 : launches + 1;
        } else if (kind < 60) {
            EXPECT_EQ(ask(ORVO_GET_FINAL_ENDPOINT, app), 0);
        } else if (kind < 70) {
            EXPECT_EQ(ask(ORVO_GET_SAMPLE_AVERAGE, app), 0);
        } else if (kind < 80) {
            EXPECT_EQ(ask(ORVO_GET_PID, app), 1);
        } else if (kind < 90) {
            EXPECT_EQ(sendFdInfo(app), 0);
        } else if (kind < 91) {
            EXPECT_EQ(erase(app), 0);
            launches = 0;
        } else if (kind < 95) {
            EXPECT_EQ(stop(), 0);
        } else {
            launchLiving();
            // Time for some samples, unless another thread's launch comes first.
            usleep(300'000);
        }
    }
};

TEST_F(SoakTest, MixedOperationsFailNowhereLoseNoCountAndGrowNothing) {
    if (soakTime().count() == 0) GTEST_SKIP() << "memory grows by itself here";
    inHost([&](LogCapture&) {
        __android_log_set_logger(expectNoError);
        const auto start = std::chrono::steady_clock::now();
        std::array<Counts, kSoakThreads> launches;
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kSoakThreads; ++i)
            threads.emplace_back([&, i] { launches[i] = operateUntil(start + soakTime(), i); });
        std::this_thread::sleep_until(start + soakTime() / 3);
        const long warmKb = residentKb();
        const std::ptrdiff_t warmDescriptors = device::openDescriptors();
        std::this_thread::sleep_until(start + soakTime() * 99 / 100);
        EXPECT_LE(residentKb(), warmKb + kGrowthLimitKb);
        EXPECT_LE(device::openDescriptors(), warmDescriptors + kOpenInPassing);
        for (std::thread& thread : threads)
            thread.join();
        Counts stored = launchCounts();
        for (const Counts& ofThread : launches) {
            for (const auto& [app, count] : ofThread)
                EXPECT_EQ(stored[app], count) << app;
        }
    });
}

// --- All at the learning thread. The thread sanitizer makes most of it; the rest
// is that nothing crashes, blocks or throws.

constexpr unsigned kStressThreads = 6;

class StressTest : public LoadTest {
protected:
    // Rarely what ends a launch, so that launches come to their end, and five of
    // them before the five hundredth launch event, which erases.
    static void fire(std::mt19937& random, bool mayShutDown) {
        const auto oneIn = [&](unsigned n) { return random() % n == 0; };
        std::string app = oneIn(100) ? "app." + std::to_string(random() % 8) : "living";
        std::int32_t launchMessage[2] = {oneIn(8) ? 2 : 1, 0};
        if (oneIn(20)) setData(ORVO_SET_LAUNCH, app, launchMessage);
        if (oneIn(1000)) stop();
        if (oneIn(2000)) erase(app);
        if (mayShutDown && oneIn(50)) setData(ORVO_SET_DEINIT, app, nullptr);
        sendFdInfo(app);
        for (const OrvoGetOp op : {ORVO_GET_FINAL_ENDPOINT, ORVO_GET_SAMPLE_AVERAGE, ORVO_GET_PID})
            ask(op, app);
        setTavoLogLevel(static_cast<std::uint32_t>(random() % 5));
        usleep(static_cast<useconds_t>(random() % 15'000));
    }
};

// In rounds of a process each, for the shut-down, in a round's second half, lets
// the learning thread end.
TEST_F(StressTest, EveryOperationFromManyThreadsAtTheLearningThread) {
    for (unsigned round = 0; round < ORVO_STRESS_SECONDS / 2; ++round) {
        inHost([&](LogCapture&) {
            // Lines go to nobody, without a lock that would hide races.
            __android_log_set_logger([](const __android_logger_data*, const char*) {});
            std::atomic<bool> isOver{false};
            std::atomic<bool> mayShutDown{false};
            std::vector<std::thread> threads;
            for (unsigned i = 0; i < kStressThreads; ++i) {
                threads.emplace_back([&, seed = i + kStressThreads * round] {
                    for (std::mt19937 random(seed); !isOver;)
                        fire(random, mayShutDown);
                });
            }
            std::this_thread::sleep_for(std::chrono::seconds(1));
            mayShutDown = kMayShutDown;
            std::this_thread::sleep_for(std::chrono::seconds(1));
            isOver = true;
            for (std::thread& thread : threads)
                thread.join();
        });
    }
}

}  // namespace
