// Every operation from many threads at the learning thread. The thread sanitizer
// makes most of it; the rest is that nothing crashes, blocks or throws.
#include <android/log.h>
#include <atomic>
#include <random>
#include <thread>

#include "platform/tavo_log.h"
#include "tests/faults/real_store.h"
#include "tests/support/device.h"

namespace {

constexpr unsigned kThreads = 6;
constexpr int kApps = 8;  // the first has a process

#ifdef ORVO_HARDENED_LOCKING
constexpr bool kMayShutDown = true;
#else
constexpr bool kMayShutDown = false;  // it empties the series under the thread's hands
#endif

class StressTest : public RealStore {
protected:
    StressTest() {
        const std::string properties = mFolder / "properties";
        std::ofstream(properties) << "debug.vendor.zorv.enable.lm_csv_dump=true\n";
        setenv("TAVO_PROPERTIES", properties.c_str(), 1);
        device::setTasks(std::to_string(mChild.pid()));
    }
    ~StressTest() override {
        device::setTasks("");
        unlink(device::dumpPath("app.0").c_str());
    }

    // Rarely what ends a launch, so that launches come to their end, and five of
    // them before the five hundredth launch event, which erases.
    static void fire(std::mt19937& random, bool mayShutDown) {
        const auto oneIn = [&](unsigned n) { return random() % n == 0; };
        std::string app = "app." + std::to_string(oneIn(100) ? random() % kApps : 0);
        std::int32_t launchMessage[2] = {oneIn(8) ? 2 : 1, 0};
        if (oneIn(20)) setData(ORVO_SET_LAUNCH, app, launchMessage);
        if (oneIn(1000)) setData(ORVO_SET_STOP, app, nullptr);
        if (oneIn(2000)) erase(app);
        if (mayShutDown && oneIn(50)) setData(ORVO_SET_DEINIT, app, nullptr);
        sendFdInfo(app);
        for (const OrvoGetOp op : {ORVO_GET_FINAL_ENDPOINT, ORVO_GET_SAMPLE_AVERAGE, ORVO_GET_PID})
            ask(op, app);
        setTavoLogLevel(static_cast<std::uint32_t>(random() % 5));
        usleep(static_cast<useconds_t>(random() % 15'000));
    }

    const device::Child mChild = device::Child::named("app.0");
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
            for (unsigned i = 0; i < kThreads; ++i) {
                threads.emplace_back([&, seed = i + kThreads * round] {
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
