// Words, sentences and remedies.
#include "host/verdict/verdict_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace host {
namespace {

constexpr double kPeriodMs = 30;
constexpr std::size_t kShortWindow = 34;
constexpr std::size_t kExtendedWindow = 100;
constexpr std::size_t kLongWindow = 2000;

template <typename... Values>
std::string text(const char* format, Values... values) {
    char line[200];
    std::snprintf(line, sizeof(line), format, values...);
    return line;
}

double ms(double samples) {
    return samples * kPeriodMs;
}

double percentPerSecond(const SecondOpinion& opinion) {
    return 100 * opinion.slopeKb / std::max(opinion.levelKb, 1.0) * 1000 / kPeriodMs;
}

/// Of an endpoint that the second opinion has elsewhere.
double lateMs(const SeenLaunch& launch, const Verdict& verdict) {
    const auto endpoint = static_cast<double>(launch.endpoint.value_or(0));
    return ms(endpoint - static_cast<double>(verdict.opinion.settledAt.value_or(0)));
}

std::string atRestSentence(const SeenLaunch& launch, const Verdict& verdict) {
    const double earlyMs = -lateMs(launch, verdict);
    const double atEndpointKb = launch.memoryKb.at(launch.endpoint.value_or(0));
    const double behind = 100 * (verdict.opinion.levelKb / std::max(atEndpointKb, 1.0) - 1);
    if (earlyMs > ms(allowedDifference(launch.window)))
        return text("memory went on behind the endpoint, by %+.1f %%, and settled %.0f ms later",
                    behind, earlyMs);
    return text("memory was seen at this level for %.0f ms, and rested for %.0f ms before",
                ms(static_cast<double>(verdict.quietSamples)),
                ms(static_cast<double>(verdict.opinion.longestRest)));
}

bool has(const Verdict& verdict, Doubt doubt) {
    return std::find(verdict.doubts.begin(), verdict.doubts.end(), doubt) != verdict.doubts.end();
}

/// Samples after which the launch was settled, as far as is known.
std::size_t samplesNeeded(const SeenLaunch& launch, const Verdict& verdict) {
    const std::size_t known = verdict.opinion.settledAt.value_or(launch.memoryKb.size());
    return known + launch.streak;
}

}  // namespace

const char* doubtWord(Doubt doubt) {
    switch (doubt) {
        case Doubt::kTooFewSamples:
            return "too_few_samples";
        case Doubt::kGrowing:
            return "growing";
        case Doubt::kDrifting:
            return "drifting";
        case Doubt::kFlat:
            return "flat";
        case Doubt::kAtRest:
            return "at_rest";
        case Doubt::kMakeshift:
            return "makeshift";
        case Doubt::kNoisy:
            return "noisy";
        case Doubt::kLate:
            return "late";
    }
    return "";
}

std::string doubtSentence(Doubt doubt, const SeenLaunch& launch, const Verdict& verdict) {
    const SecondOpinion& opinion = verdict.opinion;
    switch (doubt) {
        case Doubt::kTooFewSamples:
            return text("%zu samples are too few to tell", launch.memoryKb.size());
        case Doubt::kGrowing:
            return text("memory was still changing when it was last seen, by %+.1f %% a second",
                        percentPerSecond(opinion));
        case Doubt::kDrifting:
            return text("memory drifts on by %+.2f %% a second", percentPerSecond(opinion));
        case Doubt::kFlat:
            return "memory was level from the first sample on: the launch was over before";
        case Doubt::kAtRest:
            return atRestSentence(launch, verdict);
        case Doubt::kMakeshift:
            return text("no %zu quiet samples in a row follow the endpoint", launch.streak);
        case Doubt::kNoisy:
            return text("memory varies by %.1f %%, more than the 1 %% that counts as quiet",
                        opinion.noisePercent);
        case Doubt::kLate:
            return text("memory was at its level %.0f ms before the endpoint",
                        lateMs(launch, verdict));
    }
    return "";
}

std::optional<std::string> remedyOption(const SeenLaunch& launch, const Verdict& verdict) {
    const bool needsTime = has(verdict, Doubt::kGrowing) || has(verdict, Doubt::kDrifting) ||
                           has(verdict, Doubt::kAtRest);
    if (!needsTime || launch.window >= kLongWindow) return {};
    const bool isShort = launch.window <= kShortWindow;
    if (isShort && samplesNeeded(launch, verdict) <= kExtendedWindow) return "--subtype 1";
    return "--type 2";
}

}  // namespace host
