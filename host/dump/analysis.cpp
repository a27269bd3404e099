// The library's own analysis, on recorded series.
#include "host/dump/analysis.h"

#include "learner/launch_type.h"
#include "learner/orvo_learner.h"

/// The learner's insides, as far as an evaluation reads and writes them. Not
/// analysed: one thread alone has this learner.
class OrvoLearnerPeer {
public:
    OrvoLearnerPeer(std::int32_t type, std::int32_t subtype) {
        mLearner.mLaunchType = type;
        mLearner.mLaunchSubType = subtype;
    }

    void writeDumpOf(const std::string& package) {
        mLearner.mAppName = package;
        mLearner.mCsvDumpEnabled = true;
    }

    void setSeries(const host::PerMetric<host::Series>& series,
                   const host::SeriesLengths& seen) ORVO_NO_THREAD_SAFETY_ANALYSIS {
        const auto firstOf = [&](host::Metric metric) {
            const auto start = series[metric].begin();
            return host::Series(start, start + static_cast<std::ptrdiff_t>(seen[metric]));
        };
        mLearner.mVmRss = firstOf(host::Metric::kVmRss);
        mLearner.mOOMScroe = firstOf(host::Metric::kOomScore);
        mLearner.mFDCount = firstOf(host::Metric::kFdCount);
    }

    void evaluate() {
        const bool isLong = mLearner.mLaunchType == kLongLaunchType;
        mLearner.churnForStablizingPoints(
            0, isLong ? host::kLongLaunchStreak : host::kShortLaunchStreak);
        if (mLearner.mCsvDumpEnabled) mLearner.exportToFile();
        mTopValues = {{mLearner.mVmRssTop12, mLearner.mOOMScroeTop12, mLearner.mFDCountTop12}};
        mLearner.clearIntermediates();
    }

    const host::PerMetric<host::Series>& topValues() const { return mTopValues; }

    host::EvaluationResult result() const {
        host::EvaluationResult result;
        result.endpointIndices = {{mLearner.mVmRssEp, mLearner.mOOMScroeEp, mLearner.mFDCountEp}};
        result.settledValues = {
            {mLearner.mVmRssYoungest, mLearner.mOOMScroeYoungest, mLearner.mFDCountYoungest}};
        if (mLearner.mEpDecided) result.finalIndex = mLearner.mEpIdx;
        return result;
    }

    void abort() { mLearner.exportToFile("Aborted Before analysis", 0, mLearner.mAppName.c_str()); }

private:
    OrvoLearner mLearner;
    host::PerMetric<host::Series> mTopValues;
};

namespace host {

bool EvaluationResult::operator==(const EvaluationResult& other) const {
    return endpointIndices.values == other.endpointIndices.values &&
           settledValues.values == other.settledValues.values && finalIndex == other.finalIndex;
}

Analysis::Analysis(std::int32_t type, std::int32_t subtype)
    : mLearner(std::make_unique<OrvoLearnerPeer>(type, subtype)) {}

Analysis::~Analysis() = default;

void Analysis::writeDumpOf(const std::string& package) {
    mLearner->writeDumpOf(package);
}

EvaluationResult Analysis::evaluate(const PerMetric<Series>& series, const SeriesLengths& seen) {
    mLearner->setSeries(series, seen);
    mLearner->evaluate();
    return mLearner->result();
}

const PerMetric<Series>& Analysis::topValues() const {
    return mLearner->topValues();
}

void Analysis::abort() {
    mLearner->abort();
}

}  // namespace host
