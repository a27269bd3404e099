// Where the straight pieces of a series enter its last level for good.
#include "host/verdict/second_opinion.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/verdict/noise.h"
#include "host/verdict/segments.h"

namespace host {
namespace {

// The end of a series that its last level is taken from: an eighth, since a
// launch may settle late, and never less than a level needs.
constexpr std::size_t kTailShare = 8;

struct Band {
    double low;
    double high;

    double middle() const { return (low + high) / 2; }
    Band widened(double by) const { return {low - by, high + by}; }
    bool holds(double value) const { return value >= low && value <= high; }
};

Band rangeOf(const Levels& values, std::size_t from) {
    const auto [low, high] =
        std::minmax_element(values.begin() + static_cast<std::ptrdiff_t>(from), values.end());
    return {*low, *high};
}

bool isNarrow(const Band& range, double tolerance) {
    return range.high - range.low <= 2 * tolerance;
}

// Whether both halves go through most of the whole range: up and down evenly,
// and not from one level to another.
bool swingsEvenly(const Levels& values, std::size_t from) {
    constexpr double kMost = 0.75;
    const std::size_t middle = from + (values.size() - from) / 2;
    const Band whole = rangeOf(values, from);
    const Band late = rangeOf(values, middle);
    const auto [low, high] =
        std::minmax_element(values.begin() + static_cast<std::ptrdiff_t>(from),
                            values.begin() + static_cast<std::ptrdiff_t>(middle));
    return std::min(*high - *low, late.high - late.low) >= kMost * (whole.high - whole.low);
}

// Samples of one swing up and down: from how often the lower third of the
// range is followed by the upper one.
std::size_t swingLength(const Levels& values, std::size_t from) {
    const Band range = rangeOf(values, from);
    const double third = (range.high - range.low) / 3;
    bool wasLow = false;
    std::size_t rises = 0;
    for (std::size_t i = from; i < values.size(); ++i) {
        rises += wasLow && values[i] > range.high - third ? 1 : 0;
        if (values[i] > range.high - third) wasLow = false;
        if (values[i] < range.low + third) wasLow = true;
    }
    return (values.size() - from) / std::max<std::size_t>(rises, 1);
}

// The first index from which all values lie in the band.
std::size_t entersForGood(const Levels& values, const Band& band) {
    std::size_t at = values.size();
    while (at > 0 && band.holds(values[at - 1]))
        --at;
    return at;
}

// The most samples in a row before `end` that stay as near together as a level.
std::size_t restBefore(std::size_t end, const Levels& values) {
    std::size_t longest = 0;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < end; ++i) {
        while (std::fabs(values[i] - values[begin]) >
               std::max(kPageKb, kToleranceShare * values[i]))
            ++begin;
        longest = std::max(longest, i + 1 - begin);
    }
    return longest;
}

double slopeFrom(const Levels& values, std::size_t from) {
    const auto count = static_cast<double>(values.size() - from);
    const double middle = (count - 1) / 2;
    double timeValue = 0;
    double timeTime = 0;
    for (std::size_t i = from; i < values.size(); ++i) {
        const double time = static_cast<double>(i - from) - middle;
        timeValue += time * values[i];
        timeTime += time * time;
    }
    return timeTime > 0 ? timeValue / timeTime : 0.0;
}

// The steps of one estimate.
class Estimate {
public:
    Estimate(const Levels& series, std::size_t streak)
        : mSize(series.size()),
          mStreak(streak),
          mTail(std::max(streak, mSize / kTailShare)),
          mNoise(noiseKb(series, streak)),
          mSmooth(withoutSpikes(series, streak, mNoise)) {
        fit();
    }

    SecondOpinion opinion() {
        if (!smoothSwings() && !isNarrow(tailRange(), tolerance())) return ending(Ending::kGrowing);
        findLevel();
        const std::size_t at = entersForGood(mFit, mBand);
        if (at > 0 && hasSlope(at)) return unsettled(at);
        return settled(at);
    }

private:
    Band tailRange() const { return rangeOf(mFit, mSize - mTail); }
    double tolerance() const { return std::max(kPageKb, kToleranceShare * tailRange().middle()); }
    // Of a mean of that many samples.
    double reachOf(std::size_t samples) const {
        return noiseReach(mSize) * mNoise / std::sqrt(static_cast<double>(samples));
    }

    void fit() {
        mPieces = straightPieces(mSmooth, mNoise);
        mFit = valuesOf(mPieces);
    }

    // Takes the mean over a swing where the end goes up and down evenly, over
    // as much of the last half as does so.
    bool smoothSwings() {
        std::size_t even = 0;
        for (std::size_t tail = mTail; tail <= mSize / 2; tail *= 2) {
            const bool isSwing = !isNarrow(rangeOf(mFit, mSize - tail), tolerance());
            if (isSwing && swingsEvenly(mFit, mSize - tail)) even = tail;
        }
        if (even == 0) return false;
        mTail = even;
        const Band swing = tailRange();
        mSwing = swing.high - swing.low;
        const std::size_t length = swingLength(mSmooth, mSize - mTail);
        mSwingSamples = static_cast<double>(length);
        mSmooth = runningMean(mSmooth, length);
        fit();
        return true;
    }

    void findLevel() {
        const Band tail = tailRange();
        mLevel = tail.middle();
        const Band level = isNarrow(tail, tolerance()) ? Band{mLevel, mLevel} : tail;
        mBand = level.widened(tolerance() + reachOf(mTail));
    }

    bool hasSlope(std::size_t from) const {
        const auto samples = static_cast<double>(mSize - from);
        // A line's rise over its samples is less certain than their mean.
        const double unsure = std::sqrt(12.0) * reachOf(mSize - from);
        return std::fabs(slopeFrom(mFit, from)) * samples > tolerance() + unsure;
    }

    SecondOpinion ending(Ending how) const {
        SecondOpinion opinion;
        opinion.ending = how;
        opinion.levelKb = tailRange().middle();
        // The least that is assumed, a page, is not noise that was seen.
        const double seenNoise = mNoise > kPageKb ? mNoise : 0.0;
        opinion.noisePercent =
            100 * std::max(seenNoise, mSwing / 2) / std::max(opinion.levelKb, 1.0);
        opinion.slopeKb = slopeFrom(mFit, mSize - mTail);
        return opinion;
    }

    // Change of more than a tenth of the level in half of what was seen is
    // growth: the library too takes values for close up to that.
    SecondOpinion unsettled(std::size_t from) const {
        constexpr double kCloseShare = 0.1;
        const double slope = slopeFrom(mFit, from);
        const bool isSlow =
            std::fabs(slope) * static_cast<double>(mSize) / 2 < kCloseShare * tailRange().middle();
        SecondOpinion opinion = ending(isSlow ? Ending::kDrifting : Ending::kGrowing);
        opinion.slopeKb = slope;
        if (isSlow) opinion.driftsFrom = driftsFrom(slope);
        return opinion;
    }

    // From when the fit stays near a line of that slope through the tail.
    std::size_t driftsFrom(double slope) const {
        Levels level = mFit;
        for (std::size_t i = 0; i < mSize; ++i)
            level[i] -= slope * (static_cast<double>(i) - static_cast<double>(mSize));
        return entersForGood(level, rangeOf(level, mSize - mTail).widened(tolerance()));
    }

    SecondOpinion settled(std::size_t at) const {
        SecondOpinion opinion = ending(Ending::kLevel);
        opinion.levelKb = mLevel;
        opinion.settledAt = at;
        const Band twice = mBand.widened(tolerance());
        const Band half = mBand.widened(-tolerance() / 2);
        opinion.errorSamples =
            0.5 + static_cast<double>(entersForGood(mFit, half) - entersForGood(mFit, twice)) / 2;
        goStraightIn(at, opinion);
        opinion.longestRest = restBefore(*opinion.settledAt, mFit);
        return opinion;
    }

    // Where a straight piece leads right into the level, the launch has settled
    // where its line meets it, which is later than where it comes near.
    void goStraightIn(std::size_t at, SecondOpinion& opinion) const {
        const double noise = std::max(mNoise, noiseOfGrowth(at));
        const double reach = noiseReach(mSize) * noise;
        for (const Segment& piece : noise > mNoise ? straightPieces(mSmooth, noise) : mPieces) {
            if (!leadsIn(piece, at)) continue;
            const double slope = std::fabs(piece.slope());
            const double meets =
                static_cast<double>(piece.begin) + (mLevel - piece.first) / piece.slope();
            // Where the piece ends is as uncertain as noise makes a sample, and
            // a mean over swings bends half a swing before the level.
            const double unsure = 1 + reach / slope + mSwingSamples / 2;
            const bool isEarlier = mSwingSamples == 0 && meets < static_cast<double>(at);
            const double beyond = std::fabs(meets - static_cast<double>(piece.end));
            if (isEarlier || beyond > unsure || meets >= static_cast<double>(mSize)) continue;
            opinion.settledAt = static_cast<std::size_t>(std::lround(meets));
            opinion.errorSamples =
                1 + 2 * reach / std::sqrt(static_cast<double>(piece.samples())) / slope;
        }
    }

    // Memory comes in lots, which make even growth noisy where the level is not.
    // Those beyond the tolerance are steps.
    double noiseOfGrowth(std::size_t end) const {
        const Levels growth(mSmooth.begin(), mSmooth.begin() + static_cast<std::ptrdiff_t>(end));
        const double noise = noiseKb(growth, mStreak);
        return noiseReach(mSize) * noise < tolerance() ? noise : 0.0;
    }

    // Only a long way is taken for straight to its end, and by a piece that
    // covers most of it: an ever slower approach is made of short ones.
    bool leadsIn(const Segment& piece, std::size_t at) const {
        constexpr double kLongWay = 4;  // tolerances
        const double way = std::fabs(mLevel - piece.first);
        const auto reaches = static_cast<double>(piece.end) + mSwingSamples;
        return piece.begin < at && static_cast<double>(at) <= reaches &&
               static_cast<double>(piece.samples()) >= mSwingSamples &&
               way > kLongWay * tolerance() && std::fabs(piece.last - piece.first) > way / 2;
    }

    std::size_t mSize;
    std::size_t mStreak;
    std::size_t mTail;
    double mNoise;
    Levels mSmooth;
    std::vector<Segment> mPieces;
    Levels mFit;
    double mSwing = 0.0;         // from low to high
    double mSwingSamples = 0.0;  // from one to the next
    double mLevel = 0.0;
    Band mBand{};
};

}  // namespace

SecondOpinion secondOpinion(const std::vector<std::int32_t>& memoryKb, std::size_t streak) {
    const Levels series(memoryKb.begin(), memoryKb.end());
    if (series.size() < 2 * streak) return {};
    return Estimate(series, streak).opinion();
}

}  // namespace host
