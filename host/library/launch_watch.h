// Follows one launch through the log while another thread waits for its end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "host/base/steady_clock.h"
#include "host/library/launch_record.h"
#include "host/library/log_sink.h"
#include "host/library/series_recorder.h"

namespace host {

/// Listens to the sink while it lives.
class LaunchWatch {
public:
    explicit LaunchWatch(LogSink& log) : mLog(log) {
        mLog.setListener([this](const LogLine& line) { take(line); });
    }
    ~LaunchWatch() { mLog.setListener({}); }
    LaunchWatch(const LaunchWatch&) = delete;
    LaunchWatch& operator=(const LaunchWatch&) = delete;

    LaunchPhase phase() {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRecord.phase();
    }

    LaunchRecord record() {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRecord;
    }

    /// What it has sampled so far.
    RecordedLaunch recorded() {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRecorder.launch();
    }

    /// True when the library has ended the launch; waits for it that long.
    bool waitForEnd(double limitMs) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mEnded.wait_for(lock, std::chrono::duration<double, std::milli>(limitMs),
                               [this] { return mRecord.phase() == LaunchPhase::kEnded; });
    }

private:
    void take(const LogLine& line) {
        const std::lock_guard<std::mutex> lock(mMutex);
        mRecord.take(line);
        mRecorder.take(line, steadyMs());
        if (mRecord.phase() == LaunchPhase::kEnded) mEnded.notify_all();
    }

    LogSink& mLog;
    std::mutex mMutex;
    std::condition_variable mEnded;
    LaunchRecord mRecord;  // guarded by mMutex, and the recorder too
    SeriesRecorder mRecorder;
};

}  // namespace host
