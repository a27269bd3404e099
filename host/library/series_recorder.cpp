// What the library sampled of a launch, by the log lines it writes at level 4.
#include "host/library/series_recorder.h"

#include <cstdlib>
#include <string>

#include "host/library/log_messages.h"

namespace host {

void SeriesRecorder::take(const LogLine& line, double nowMs) {
    if (line.tag != log::kLearnerTag) return;
    mNowMs = nowMs;
    if (startsWith(line.message, log::kMemory)) {
        takeSample(Metric::kVmRss, integerAfterLast(line.message, log::kMemory), 1);
    } else if (line.function == log::kScoreFunction) {
        takeSample(Metric::kOomScore, integerAfterLast(line.message, log::kOomScore), 1);
    } else if (startsWith(line.message, log::kFdCount)) {
        takeSample(Metric::kFdCount, integerAfterLast(line.message, log::kFdCountStart), INT32_MIN);
    } else {
        takeStep(line);
    }
}

// An evaluation reads the series under the lock under which it writes its first
// line, and ends with the dump, which says something whether or not it is on. One
// that an exception ends leaves no dump.
void SeriesRecorder::takeStep(const LogLine& line) {
    const std::string_view message = line.message;
    if (startsWith(message, log::kTaken)) {
        mLaunch = {};
        mUnderway.reset();
    } else if (line.function == log::kClearFunction && message == log::kCleared) {
        mLaunch.series = {};
        mLaunch.sampledAtMs.clear();
    } else if (startsWith(message, log::kFoundProcess)) {
        takeFound(message);
    } else if (startsWith(message, log::kSampleBudget)) {
        mLaunch.sampleBudget =
            static_cast<std::size_t>(integerAfterLast(message, log::kSampleBudget));
    } else if (line.function == log::kEndpointFunction) {
        takeEndpoint(message);
    } else if (startsWith(message, log::kFinalEndpoint)) {
        mLaunch.finalIndex = integerAfterLast(message, log::kFinalEndpoint);
    } else if (startsWith(message, log::kEvaluation)) {
        mUnderway = lengths();
        mLaunch.memoryEndpoints.resize(mLaunch.evaluations.size());
    } else if (line.function == log::kDumpFunction && mUnderway) {
        mLaunch.evaluations.push_back(*mUnderway);
        mUnderway.reset();
    } else if (startsWith(message, log::kAborted)) {
        mLaunch.isAborted = true;
    }
}

// Of the three metrics memory comes first.
void SeriesRecorder::takeEndpoint(std::string_view message) {
    if (message.find(log::kMetricEndpoint) == std::string_view::npos) return;
    if (mLaunch.memoryEndpoints.size() > mLaunch.evaluations.size()) return;
    mLaunch.memoryEndpoints.push_back(integerAfterLast(message, log::kMetricEndpoint));
}

void SeriesRecorder::takeFound(std::string_view message) {
    mLaunch.process = integerAfterLast(message, log::kFoundProcess);
    const std::size_t at = message.rfind(log::kHuntTime);
    if (at == std::string_view::npos) return;
    const std::string time(message.substr(at + log::kHuntTime.size()));
    mLaunch.huntTimeMs = std::strtod(time.c_str(), nullptr);
}

// As the library takes it: what is too small is not a sample, and a full series
// drops what follows.
void SeriesRecorder::takeSample(Metric metric, std::int32_t value, std::int32_t smallest) {
    Series& series = mLaunch.series[metric];
    if (value < smallest || series.size() >= kMostSamples) return;
    series.push_back(value);
    if (metric == Metric::kVmRss) mLaunch.sampledAtMs.push_back(mNowMs);
}

SeriesLengths SeriesRecorder::lengths() const {
    SeriesLengths lengths;
    for (const Metric metric : kMetrics)
        lengths[metric] = mLaunch.series[metric].size();
    return lengths;
}

}  // namespace host
