// Recorded series as comma-separated values.
#include <cmath>
#include <functional>

#include "host/export/launch_export.h"
#include "host/export/moments.h"

namespace host {
namespace {

class CsvExport : public LaunchExport {
public:
    std::string start() override { return "recording,launch,sample,since_start_ms,metric,value\n"; }

    std::string startRecording(const Recording&) override {
        ++mRecording;
        return "";
    }

    std::string add(const DumpedLaunch& launch) override {
        const Moments moments(launch);
        const std::string first =
            std::to_string(mRecording) + ',' + std::to_string(launch.number) + ',';
        std::string text;
        for (const Metric metric : kMetrics) {
            const bool isTimed = moments.isSinceStart() && metric != Metric::kFdCount;
            addSeries(text, first, launch.series[metric], 0, traitsOf(metric).jsonName,
                      isTimed ? &moments : nullptr);
        }
        addSeries(text, first, lookAfterOf(launch, Metric::kVmRss),
                  launch.series[Metric::kVmRss].size(), "look_after_kb",
                  moments.isSinceStart() ? &moments : nullptr);
        return text;
    }

    std::string endRecording() override { return ""; }
    std::string end() override { return ""; }

private:
    static void addSeries(std::string& text, const std::string& first, const Series& series,
                          std::size_t sample, const char* metric, const Moments* moments) {
        for (const std::int32_t value : series) {
            text += first + std::to_string(sample) + ',';
            if (moments != nullptr) text += std::to_string(std::lround(moments->sampleMs(sample)));
            text += std::string(",") + metric + ',' + std::to_string(value) + '\n';
            ++sample;
        }
    }

    int mRecording = 0;
};

}  // namespace

std::unique_ptr<LaunchExport> exportCsv() {
    return std::make_unique<CsvExport>();
}

}  // namespace host
