// Every operation from many threads at the learning thread. The thread sanitizer
// makes most of it; the rest is that nothing crashes, blocks or throws.
#include <algorithm>
#include <android/log.h>
#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "platform/tavo_log.h"
#include "tests/faults/real_store.h"
#include "tests/support/device.h"

namespace {

constexpr unsigned kThreads = 6;
constexpr int kApps = 8;  // the first has a process

#ifdef ORVO_HARDENED_LOCKING
constexpr bool kIsHardened = true;
#else
constexpr bool kIsHardened = false;  // a message with entries would block its sender
#endif

class StressTest : public RealStore {
protected:
    StressTest() {
        const std::string properties = mFolder + "/properties";
        std::ofstream(properties) << "debug.vendor.zorv.enable.lm_csv_dump=true\n";
        setenv("TAVO_PROPERTIES", properties.c_str(), 1);
        device::setTasks(std::to_string(mChild.pid()));
    }
    ~StressTest() override {
        device::setTasks("");
        unlink(device::dumpPath("app.0").c_str());
    }

    void fireUntil(const std::atomic<bool>& isOver, unsigned seed,
                   const std::atomic<bool>& mayShutDown) {
        std::mt19937 random(seed);
        while (!isOver) {
            std::string app = "app." + std::to_string(random() % 100 == 0 ? random() % kApps : 0);
            fire(app, random);
            // By default the shut-down empties the series under the thread's hands.
            if (kIsHardened && mayShutDown && random() % 50 == 0)
                setData(ORVO_SET_DEINIT, app, nullptr);
            setTavoLogLevel(static_cast<std::uint32_t>(random() % 5));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
        }
    }

    const device::Child mChild = device::Child::named("app.0");

private:
    static void fire(std::string& app, std::mt19937& random) {
        std::int32_t launch[2] = {random() % 8 == 0 ? 2 : 1, 0};
        char fdInfo[1 + 4 + 4 * 3] = {};
        char* const unaligned = fdInfo + 1;
        unaligned[0] = kIsHardened ? 3 : 0;
        unaligned[4] = static_cast<char>(random() % 100);
        // Rarely, so that launches come to their end, and five of them before the
        // five hundredth launch event, which erases.
        if (random() % 20 == 0) setData(ORVO_SET_LAUNCH, app, launch);
        if (random() % 1000 == 0) setData(ORVO_SET_STOP, app, nullptr);
        if (random() % 2000 == 0) setData(ORVO_SET_ERASE, app, nullptr);
        setData(ORVO_SET_FD_INFO, app, unaligned);
        getData(ORVO_GET_FINAL_ENDPOINT, app);
        getData(ORVO_GET_SAMPLE_AVERAGE, app);
        getData(ORVO_GET_PID, app);
    }
};

/// Shows lines to nobody, without a lock that would hide races.
void dropLines() {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
}

// In rounds of a process each, for the shut-down, in a round's second half, lets
// the learning thread end.
TEST_F(StressTest, EveryOperationFromManyThreadsAtTheLearningThread) {
    constexpr std::chrono::milliseconds kHalfRound{1000};
    for (unsigned round = 0; round < ORVO_STRESS_SECONDS / 2; ++round) {
        inHost([&](LogCapture&) {
            dropLines();
            std::atomic<bool> isOver{false};
            std::atomic<bool> mayShutDown{false};
            std::vector<std::thread> threads;
            for (unsigned i = 0; i < kThreads; ++i) {
                threads.emplace_back(
                    [&, seed = i + kThreads * round] { fireUntil(isOver, seed, mayShutDown); });
            }
            std::this_thread::sleep_for(kHalfRound);
            mayShutDown = true;
            std::this_thread::sleep_for(kHalfRound);
            isOver = true;
            for (std::thread& thread : threads)
                thread.join();
        });
    }
}

}  // namespace
