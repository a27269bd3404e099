// Words, sentences and remedies.
#include "host/verdict/verdict_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/verdict/window_choice.h"

namespace host {
namespace {

struct DoubtText {
    const char* word;
    const char* name;
};

// In the order of the doubts.
constexpr DoubtText kTexts[] = {
    {"too_few_samples", "too few samples"},
    {"growing", "still changing"},
    {"drifting", "drifting"},
    {"flat", "flat from the first sample on"},
    {"at_rest", "decided at a rest"},
    {"makeshift", "a fallback"},
    {"noisy", "noisy"},
    {"late", "later than its memory"},
};

std::string number(double value, int digits = 0) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", digits, value);
    return text;
}

// "+3.5 %", "-0.20 %".
std::string change(double percent, int digits) {
    char text[64];
    std::snprintf(text, sizeof(text), "%+.*f %%", digits, percent);
    return text;
}

std::string msText(double samples) {
    return number(samples * kSampleMs) + " ms";
}

double percentPerSecond(const SecondOpinion& opinion) {
    return 100 * opinion.slopeKb / std::max(opinion.levelKb, 1.0) * 1000 / kSampleMs;
}

// Samples from the second opinion to the endpoint.
double lateBy(const SeenLaunch& launch, const Verdict& verdict) {
    return static_cast<double>(launch.endpoint.value_or(0)) -
           static_cast<double>(verdict.opinion.settledAt.value_or(0));
}

std::string atRestSentence(const SeenLaunch& launch, const Verdict& verdict) {
    const double early = -lateBy(launch, verdict);
    if (early <= allowedDifference(launch.window)) {
        return "memory was seen at its level for " +
               msText(static_cast<double>(verdict.quietSamples)) + ", and had rested for " +
               msText(static_cast<double>(verdict.opinion.longestRest)) + " before";
    }
    const double atEndpointKb = launch.memoryKb.at(launch.endpoint.value_or(0));
    const double behind = 100 * (verdict.opinion.levelKb / std::max(atEndpointKb, 1.0) - 1);
    return "memory went on changing after the endpoint, by " + change(behind, 1) +
           ", and settled " + msText(early) + " later";
}

bool has(const Verdict& verdict, Doubt doubt) {
    return std::find(verdict.doubts.begin(), verdict.doubts.end(), doubt) != verdict.doubts.end();
}

// Samples after which the launch was settled, as far as is known.
std::size_t samplesNeeded(const SeenLaunch& launch, const Verdict& verdict) {
    const std::size_t known = verdict.opinion.settledAt.value_or(launch.memoryKb.size());
    return known + launch.streak;
}

bool needsTime(const Verdict& verdict) {
    return has(verdict, Doubt::kGrowing) || has(verdict, Doubt::kDrifting) ||
           has(verdict, Doubt::kAtRest);
}

}  // namespace

const char* doubtWord(Doubt doubt) {
    return kTexts[static_cast<std::size_t>(doubt)].word;
}

std::string doubtName(const std::string& word) {
    const auto found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                    [&](const DoubtText& text) { return word == text.word; });
    return found == std::end(kTexts) ? word : found->name;
}

std::string doubtNames(const Verdict& verdict) {
    std::string names;
    for (const Doubt doubt : verdict.doubts) {
        const char* const way = verdict.opinion.slopeKb < 0 ? "still falling" : "still growing";
        names += names.empty() ? "" : ", ";
        names += doubt == Doubt::kGrowing ? way : doubtName(doubtWord(doubt));
    }
    return names;
}

std::string doubtSentence(Doubt doubt, const SeenLaunch& launch, const Verdict& verdict) {
    const SecondOpinion& opinion = verdict.opinion;
    switch (doubt) {
        case Doubt::kTooFewSamples:
            return std::to_string(launch.memoryKb.size()) + " samples are too few to tell";
        case Doubt::kGrowing:
            return "memory was still changing when it was last seen, by " +
                   change(percentPerSecond(opinion), 1) + " a second";
        case Doubt::kDrifting:
            return "memory drifts on by " + change(percentPerSecond(opinion), 2) + " a second";
        case Doubt::kFlat:
            return "memory was level from the first sample on: the launch was over before it";
        case Doubt::kAtRest:
            return atRestSentence(launch, verdict);
        case Doubt::kMakeshift:
            return "no " + std::to_string(launch.streak) +
                   " quiet samples in a row follow the endpoint";
        case Doubt::kNoisy:
            return "memory varies by " + number(opinion.noisePercent, 1) +
                   " %, more than the 1 % that counts as quiet";
        case Doubt::kLate:
            return "memory was at its level " + msText(lateBy(launch, verdict)) +
                   " before the endpoint";
    }
    return "";
}

std::string doubtSentences(const SeenLaunch& launch, const Verdict& verdict) {
    std::string sentences;
    for (const Doubt doubt : verdict.doubts)
        sentences += (sentences.empty() ? "" : "; ") + doubtSentence(doubt, launch, verdict);
    return sentences;
}

std::optional<std::string> remedyOption(const SeenLaunch& launch, const Verdict& verdict) {
    if (!needsTime(verdict) || launch.window >= kLongWindow) return {};
    const bool isShort = launch.window <= kShortWindow;
    if (isShort && samplesNeeded(launch, verdict) <= kExtendedWindow)
        return windowOption(Window::kExtended);
    return windowOption(Window::kLong);
}

std::string remedyText(const SeenLaunch& launch, const Verdict& verdict) {
    if (const auto option = remedyOption(launch, verdict)) return "learn it anew with " + *option;
    const bool hasOther = launch.endpoint && verdict.opinion.settledAt.value_or(0) > 0;
    if (hasOther && !verdict.isSettled()) return "take the second opinion instead";
    return needsTime(verdict) ? "no window is longer" : "";
}

}  // namespace host
