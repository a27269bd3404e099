// Mixed operations on a thousand packages from eight threads, on the real
// database: for seconds among the other tests, for long by scripts/soak.
#include <android/log.h>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "tests/faults/real_store.h"
#include "tests/support/device.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kThreads = 8;
constexpr unsigned kPackages = 1000;
constexpr std::int32_t kRelearnAt = 499;
constexpr long kGrowthLimitKb = 2048;

std::chrono::seconds duration() {
    const char* const asked = std::getenv("ORVO_SOAK_SECONDS");
    return std::chrono::seconds(asked == nullptr ? ORVO_SOAK_SECONDS : std::atoi(asked));
}

// Lines of error priority that tell of no failure, or of a process that is not
// there, which most packages here have none of.
constexpr const char* kExpectedErrors[] = {
    "UPDATE_FD_INFO",    "PID from Map",      "dump property not set", "Failed to fetch samples",
    "Failed to get pid", "Giving up on hunt", "Could not find pid"};

void takeLine(const __android_logger_data* data, const char* line) {
    if (data->priority < ANDROID_LOG_ERROR) return;
    for (const char* const expected : kExpectedErrors) {
        if (std::strstr(line, expected) != nullptr) return;
    }
    ADD_FAILURE() << line;
}

struct Usage {
    long memoryKb = 0;
    std::ptrdiff_t descriptors = 0;

    static Usage now() {
        Usage usage;
        std::ifstream statm("/proc/self/statm");
        long whole = 0;
        statm >> whole >> usage.memoryKb;
        usage.memoryKb *= sysconf(_SC_PAGESIZE) / 1024;
        namespace fs = std::filesystem;
        usage.descriptors =
            std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
        return usage;
    }
};

class SoakTest : public RealStore {
protected:
    /// What one thread does, all of it on packages of its own or on the one whose
    /// process exists.
    class Worker {
    public:
        explicit Worker(unsigned number) : mNumber(number), mRandom(number) {}

        void runUntil(Clock::time_point end) {
            while (Clock::now() < end)
                operate("soak." + std::to_string(mRandom() % kPackages / kThreads) + '.' +
                        std::to_string(mNumber));
        }

        void expectCounts(Counts& stored) const {
            for (const auto& [app, count] : mCounts)
                EXPECT_EQ(stored[app], count) << app;
        }

    private:
        void operate(std::string app) {
            const unsigned long kind = mRandom() % 100;
            if (kind < 50) {
                EXPECT_EQ(launch(app), 0);
                std::int32_t& count = mCounts[app];
                count = count == kRelearnAt ? 0 : count + 1;
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
                mCounts[app] = 0;
            } else if (kind < 95) {
                EXPECT_EQ(setData(ORVO_SET_STOP, app, nullptr), 0);
            } else {
                // Time for some samples, unless another thread's launch comes first.
                EXPECT_EQ(launch("soak.living"), 0);
                usleep(300'000);
            }
        }

        const unsigned mNumber;
        std::mt19937 mRandom;
        Counts mCounts;
    };
};

TEST_F(SoakTest, MixedOperationsFailNowhereLoseNoCountAndGrowNothing) {
    if (duration().count() == 0) GTEST_SKIP() << "memory grows by itself here";
    inHost([&](LogCapture&) {
        __android_log_set_logger(takeLine);
        const device::Child living = device::Child::named("soak.living");
        device::setTasks(std::to_string(living.pid()));
        std::vector<Worker> workers;
        for (unsigned i = 0; i < kThreads; ++i)
            workers.emplace_back(i);
        const Clock::time_point start = Clock::now();
        std::vector<std::thread> threads;
        for (Worker& worker : workers)
            threads.emplace_back([&] { worker.runUntil(start + duration()); });
        std::this_thread::sleep_until(start + duration() / 3);
        const Usage warm = Usage::now();
        std::this_thread::sleep_until(start + duration() * 99 / 100);
        const Usage end = Usage::now();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_LE(end.memoryKb, warm.memoryKb + kGrowthLimitKb);
        EXPECT_LE(end.descriptors, warm.descriptors);
        Counts stored = launchCounts();
        for (const Worker& worker : workers)
            worker.expectCounts(stored);
    });
}

}  // namespace
