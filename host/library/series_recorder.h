// What the library sampled of a launch, by the log lines it writes at level 4.
#pragma once

#include <optional>
#include <sys/types.h>
#include <vector>

#include "host/library/log_line.h"
#include "host/library/metric.h"

namespace host {

/// As many samples of each metric as were taken up to some moment.
using SeriesLengths = PerMetric<std::size_t>;

struct RecordedLaunch {
    PerMetric<Series> series;
    std::vector<SeriesLengths> evaluations;     ///< what each evaluation saw
    bool isAborted = false;                     ///< while it was sampled
    pid_t process = 0;                          ///< 0 while none was found
    std::optional<double> huntTimeMs;           ///< that finding the process took
    std::size_t sampleBudget = 0;               ///< samples that it may take
    std::vector<double> sampledAtMs;            ///< each memory sample, on the steady clock
    std::vector<std::int32_t> memoryEndpoints;  ///< indices, one an evaluation
    std::optional<std::int32_t> finalIndex;     ///< that was decided
};

/// Takes all lines in their order; each launch that the library takes on starts
/// the record anew.
class SeriesRecorder {
public:
    void take(const LogLine& line, double nowMs);

    const RecordedLaunch& launch() const { return mLaunch; }

private:
    void takeStep(const LogLine& line);
    void takeEndpoint(std::string_view message);
    void takeFound(std::string_view message);
    void takeSample(Metric metric, std::int32_t value, std::int32_t smallest);
    SeriesLengths lengths() const;

    RecordedLaunch mLaunch;
    std::optional<SeriesLengths> mUnderway;  // of the evaluation at work
    double mNowMs = 0;
};

}  // namespace host
