// Compares the library's endpoint with the second opinion, and names why they
// differ.
#include "host/verdict/verdict.h"

#include <algorithm>
#include <cmath>

#include "host/verdict/noise.h"

namespace host {
namespace {

// Whether the samples from the endpoint on lie within the tolerance of one
// value for as long as the library asks.
bool startsFullRun(const SeenLaunch& launch, std::size_t endpoint) {
    if (endpoint + launch.streak > std::min(launch.seen, launch.memoryKb.size())) return false;
    const auto begin = launch.memoryKb.begin() + static_cast<std::ptrdiff_t>(endpoint);
    const auto [low, high] =
        std::minmax_element(begin, begin + static_cast<std::ptrdiff_t>(launch.streak));
    return static_cast<double>(*high) - *low <= 2 * kToleranceShare * *high;
}

class Judgement {
public:
    explicit Judgement(const SeenLaunch& launch) : mLaunch(launch) {
        mVerdict.opinion = secondOpinion(launch.memoryKb, launch.streak);
    }

    Verdict verdict() {
        switch (mVerdict.opinion.ending) {
            case Ending::kTooShort:
                add(Doubt::kTooFewSamples);
                break;
            case Ending::kGrowing:
                add(Doubt::kGrowing);
                break;
            case Ending::kDrifting:
                if (!beginsToDrift()) add(Doubt::kDrifting);
                break;
            case Ending::kLevel:
                judgeLevel(*mVerdict.opinion.settledAt);
        }
        return mVerdict;
    }

private:
    void add(Doubt doubt) { mVerdict.doubts.push_back(doubt); }
    bool isNoisy() const { return mVerdict.opinion.noisePercent > 100 * kToleranceShare; }

    // Samples from `when` to the endpoint, 0 where that is within what is allowed.
    double away(std::size_t when) const {
        const double samples = static_cast<double>(*mLaunch.endpoint) - static_cast<double>(when);
        return std::fabs(samples) > allowedDifference(mLaunch.window) ? samples : 0.0;
    }

    bool beginsToDrift() const {
        const std::optional<std::size_t>& from = mVerdict.opinion.driftsFrom;
        return mLaunch.endpoint && from && away(*from) == 0.0;
    }

    void judgeLevel(std::size_t settledAt) {
        mVerdict.quietSamples = mLaunch.memoryKb.size() - settledAt;
        if (settledAt == 0) add(Doubt::kFlat);
        if (!mLaunch.endpoint) {
            if (isNoisy()) add(Doubt::kNoisy);
            return;
        }
        const double late = away(settledAt);
        const bool isRestShort = mVerdict.quietSamples < mVerdict.opinion.longestRest;
        if (late < 0 || isRestShort) add(Doubt::kAtRest);
        if (late > 0 && mLaunch.isByMemory) addWhyLate();
    }

    void addWhyLate() {
        const bool isMakeshift = !startsFullRun(mLaunch, *mLaunch.endpoint);
        if (isMakeshift) add(Doubt::kMakeshift);
        if (isNoisy()) add(Doubt::kNoisy);
        if (!isMakeshift && !isNoisy()) add(Doubt::kLate);
    }

    const SeenLaunch& mLaunch;
    Verdict mVerdict;
};

}  // namespace

bool differs(const SeenLaunch& launch, const SecondOpinion& opinion) {
    if (!launch.endpoint || !opinion.settledAt)
        return launch.endpoint.has_value() != opinion.settledAt.has_value();
    const double samples =
        static_cast<double>(*launch.endpoint) - static_cast<double>(*opinion.settledAt);
    return std::fabs(samples) > opinion.errorSamples;
}

double allowedDifference(std::size_t window) {
    constexpr double kLeastSamples = 3;
    constexpr double kWindowShare = 0.05;
    return std::max(kLeastSamples, kWindowShare * static_cast<double>(window));
}

Verdict verdictOn(const SeenLaunch& launch) {
    return Judgement(launch).verdict();
}

}  // namespace host
