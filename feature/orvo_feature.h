// The facade behind the exported functions.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "learner/orvo_learner.h"
#include "store/orvo_dblayer.h"

/// Owns the learning thread and dispatches the operations to the learner and
/// the store. Holds no lock of its own; any thread may call it. Operation codes
/// and messages: feature/orvo.h.
class OrvoFeature {
public:
    /// Shuts down like DeInit. Terminates the process when the learning thread
    /// was started: its handle is still joinable, and joining would block for
    /// good on a thread that waits for a launch.
    ~OrvoFeature();

    OrvoFeature(const OrvoFeature&) = delete;
    OrvoFeature& operator=(const OrvoFeature&) = delete;

    /// The instance, built on the first call.
    static OrvoFeature& getInstance();

    /// Opens the store and starts the learning thread. Returns 0, or -1 when
    /// the thread cannot be created. A second call terminates the process.
    int Init();

    /// Lets the learning thread end after its launch, and closes the store.
    int DeInit();

    int setData(int op, std::string& appName, void* msg);

    /// The third argument is not used.
    std::int32_t getData(int op, std::string& appName, void*);

private:
    OrvoFeature() = default;

    int launchEvent(std::string& appName, const void* msg);
    void wakeLearner(const std::string& appName, const void* msg);
    void stopLearning();
    void eraseLearning(std::string& appName);
    void fdInfo(const std::string& appName, const void* msg);

    std::int32_t finalEndpoint(std::string& appName);
    std::int32_t sampleAverage(std::string& appName);
    std::int32_t pidFromMap(std::string& appName);

    std::thread mLearningThread;
    OrvoLearner* mLearner = &OrvoLearner::mOrvoLearner;  // not owned
    OrvoDBlayer* mStore = &OrvoDBlayer::mOrvoDB;         // not owned
};
