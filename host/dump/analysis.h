// The library's own analysis, on recorded series.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/library/series_recorder.h"

class OrvoLearner;
class OrvoLearnerPeer;

namespace host {

/// Which build of the analysis is part of this program. The endpoints are the same.
#ifdef ORVO_HARDENED_LOCKING
constexpr const char* kAnalysisBuild = "hardened";
#else
constexpr const char* kAnalysisBuild = "default";
#endif

/// What an evaluation results in.
struct EvaluationResult {
    PerMetric<std::int32_t> endpointIndices{};
    PerMetric<std::int32_t> settledValues{};
    std::optional<std::int32_t> finalIndex;

    bool operator==(const EvaluationResult& other) const;
};

/// What each evaluation of a launch sees whose samples are these: all of them at
/// its end, and in a long launch the first ones at even intervals before that.
std::vector<SeriesLengths> evaluationsOf(const PerMetric<Series>& series, std::int32_t type);

/// One launch's evaluations, one after the other. The library logs as ever.
class Analysis {
public:
    Analysis(std::int32_t type, std::int32_t subtype);
    ~Analysis();
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;

    /// Has the library append what follows to the package's dump. It does not
    /// tell when that fails.
    void writeDumpOf(const std::string& package);

    /// The next evaluation, of the first `seen` samples.
    EvaluationResult evaluate(const PerMetric<Series>& series, const SeriesLengths& seen);

    /// One evaluation after the other, up to the one that decides.
    std::vector<EvaluationResult> evaluateUntilDecided(const PerMetric<Series>& series,
                                                       const std::vector<SeriesLengths>& seen);

    /// The values that occurred most often in the last evaluation, as a dump has them.
    const PerMetric<Series>& topValues() const { return mTopValues; }

    /// The launch is stopped before the next evaluation.
    void abort();

private:
    const std::unique_ptr<OrvoLearner> mLearner;
    const std::unique_ptr<OrvoLearnerPeer> mPeer;
    const std::int32_t mStreak;
    PerMetric<Series> mTopValues;
};

}  // namespace host
