// Keeps account of the launches that were sent to the library, by its log lines.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "host/library/launch_record.h"
#include "host/library/series_recorder.h"
#include "host/state/generations.h"
#include "host/watch/app_scan.h"
#include "host/watch/launch_rules.h"

namespace host {

struct SentLaunch {
    AppProcess app;
    LaunchKind kind;
    std::int64_t atUnixMs = 0;
    std::optional<Generation> generation{};  ///< none where it is not known
};

struct EndedLaunch {
    SentLaunch launch;
    std::optional<LaunchOutcome> notLearned;  ///< why the library did not learn it
    LaunchRecord record;                      ///< what it did, from the counting on
    RecordedLaunch recorded;                  ///< what it sampled
};

/// The library learns one launch and keeps one more waiting; a third replaces
/// the one that waits. Lines come from any thread; launches from one.
class LaunchLedger {
public:
    /// Before the launch message is sent: the lines that follow on this thread
    /// answer for it.
    void offer(const SentLaunch& launch);

    /// After it was sent.
    void settleOffer();

    void take(const LogLine& line);

    /// Launches that have come to their end since the last call.
    std::vector<EndedLaunch> takeEnded();

    /// Ends those that still wait; the library never takes them any more.
    void abandonWaiting();

    /// Whether the library has a launch in hand or waiting.
    bool isBusy();

    /// The application whose launch is in this phase, if any.
    std::optional<AppProcess> appIn(LaunchPhase phase);

private:
    void begin(std::string_view package, const LogLine& line);
    void follow(const LogLine& line);
    void end(EndedLaunch launch, LaunchOutcome notLearned);

    std::mutex mMutex;                    // guards what follows
    std::optional<EndedLaunch> mOffered;  // being sent
    std::deque<EndedLaunch> mWaiting;     // all but the last are superseded
    std::optional<EndedLaunch> mCurrent;  // being learned
    SeriesRecorder mRecorder;             // of that one
    std::vector<EndedLaunch> mEnded;
};

}  // namespace host
