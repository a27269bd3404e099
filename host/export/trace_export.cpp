// Recorded launches as a trace.
#include <algorithm>
#include <cmath>
#include <vector>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/dump/dump_verdict.h"
#include "host/export/launch_export.h"
#include "host/export/moments.h"

namespace host {
namespace {

constexpr double kUsPerMs = 1000;
constexpr std::int64_t kOriginUs = 1;  // some viewers take the time 0 for none

// The two rows of slices that each launch has.
constexpr int kLaunchTrack = 1;
constexpr int kSamplingTrack = 2;
constexpr int kTracks = 2;

std::int64_t us(double ms) {
    return std::llround(ms * kUsPerMs);
}

std::int64_t stamp(double ms) {
    return kOriginUs + us(ms);
}

// The events of one launch, which is a process of the trace.
class LaunchTrace {
public:
    LaunchTrace(const DumpedLaunch& launch, const std::string& title, std::int64_t process)
        : mLaunch(launch), mTitle(title), mProcess(process), mMoments(launch) {}

    std::string text() {
        addNames();
        for (const Metric metric : kMetrics)
            addCounters(metric);
        addSlices();
        addMarks();
        std::stable_sort(mTimed.begin(), mTimed.end(), [](const Json& one, const Json& other) {
            return one["ts"].get<std::int64_t>() < other["ts"].get<std::int64_t>();
        });
        for (const Json& event : mTimed)
            write(event);
        return mText;
    }

private:
    void write(const Json& event) {
        std::string line = jsonLine(event);
        line.pop_back();
        mText += (mText.empty() ? "\n" : ",\n") + line;
    }

    // To be written in the order of time: some viewers count from the first in the file.
    void add(Json event) {
        event["pid"] = mProcess;
        mTimed.push_back(std::move(event));
    }

    // No two launches share a thread's number, by which alone some viewers separate rows.
    std::int64_t threadOf(int track) const { return (mProcess - 1) * kTracks + track; }

    // With a time, without which some viewers ignore a name.
    void addName(const char* kind, const char* member, const Json& value,
                 int track = kLaunchTrack) {
        write({{"ph", "M"},
               {"name", kind},
               {"pid", mProcess},
               {"tid", threadOf(track)},
               {"ts", kOriginUs},
               {"args", {{member, value}}}});
    }

    void addNames() {
        addName("process_name", "name", mTitle + ", launch " + std::to_string(mLaunch.number));
        addName("process_labels", "labels", printable(verdictText(mLaunch)));
        addName("process_sort_index", "sort_index", mProcess);
        addName("thread_name", "name", "launch", kLaunchTrack);
        addName("thread_name", "name", "sampling", kSamplingTrack);
    }

    // What was seen behind the window goes on in the same counter.
    void addCounters(Metric metric) {
        std::size_t sample = 0;
        for (const Series* const series :
             {&mLaunch.series[metric], &lookAfterOf(mLaunch, metric)}) {
            for (const std::int32_t value : *series)
                addCounter(metric, sample++, value);
        }
    }

    void addCounter(Metric metric, std::size_t sample, std::int32_t value) {
        const MetricTraits& traits = traitsOf(metric);
        add({{"ph", "C"},
             {"name", traits.name},
             {"tid", threadOf(kLaunchTrack)},
             {"ts", stamp(mMoments.sampleMs(sample))},
             {"args", {{traits.jsonName, value}}}});
    }

    void addSlice(const std::string& name, int track, double fromMs, double toMs) {
        add({{"ph", "X"},
             {"name", name},
             {"cat", "launch"},
             {"tid", threadOf(track)},
             {"ts", stamp(fromMs)},
             {"dur", us(toMs - fromMs)}});
    }

    void addSlices() {
        if (const auto endpointMs = mMoments.endpointMs())
            addSlice(mMoments.isSinceStart() ? "launch" : "launch, from the first sample",
                     kLaunchTrack, 0, *endpointMs);
        const auto lastMs = mMoments.lastSampleMs();
        if (!lastMs) return;
        addSlice("sampled by the library", kSamplingTrack, mMoments.sampleMs(0), *lastMs);
        const std::size_t behind = lookAfterOf(mLaunch, Metric::kVmRss).size();
        if (behind == 0) return;
        addSlice("seen behind that", kSamplingTrack, *lastMs,
                 mMoments.sampleMs(mLaunch.series[Metric::kVmRss].size() + behind - 1));
    }

    void addMark(const std::string& name, double ms, const Json& told = Json::object()) {
        add({{"ph", "i"},
             {"name", name},
             {"cat", "launch"},
             {"s", "p"},
             {"tid", threadOf(kLaunchTrack)},
             {"ts", stamp(ms)},
             {"args", told}});
    }

    void addMarks() {
        const std::optional<JudgedLaunch> judged = judge(mLaunch);
        if (const auto ms = mMoments.firstLookMs()) addMark("first look", *ms);
        int number = 0;
        for (const Evaluation& evaluation : mLaunch.evaluations)
            addEvaluation(evaluation, ++number);
        if (const auto ms = mMoments.lastSampleMs(); ms && !mLaunch.evaluations.empty())
            addMark(mMoments.isWindowWhole() ? "window's end" : "the library's last sample", *ms);
        if (const auto ms = mMoments.opinionMs(judged)) {
            const double errorMs = kSampleMs * judged->verdict.opinion.errorSamples;
            addMark("second opinion", *ms, {{"within_ms", std::lround(errorMs)}});
        }
    }

    void addEvaluation(const Evaluation& evaluation, int number) {
        Json told{{"endpoint_index", orNull(evaluation.finalIndex)}};
        for (const Metric metric : kMetrics)
            told[traitsOf(metric).jsonName] = evaluation.metrics[metric].settledValue;
        addMark("evaluation " + std::to_string(number), mMoments.evaluationMs(evaluation), told);
    }

    const DumpedLaunch& mLaunch;
    const std::string& mTitle;
    const std::int64_t mProcess;
    const Moments mMoments;
    std::vector<Json> mTimed;
    std::string mText;
};

class TraceExport : public LaunchExport {
public:
    std::string start() override { return "{\"displayTimeUnit\":\"ms\",\"traceEvents\":["; }

    std::string startRecording(const Recording& recording) override {
        mTitle = printable(recording.title);
        return "";
    }

    std::string add(const DumpedLaunch& launch) override {
        const std::string text = LaunchTrace(launch, mTitle, ++mProcess).text();
        return mProcess > 1 ? "," + text : text;
    }

    std::string endRecording() override { return ""; }
    std::string end() override { return "\n]}\n"; }

private:
    std::string mTitle;
    std::int64_t mProcess = 0;
};

}  // namespace

std::unique_ptr<LaunchExport> exportTrace() {
    return std::make_unique<TraceExport>();
}

}  // namespace host
