// A launch with its verdict, and what is printed and kept of it.
#include "host/library/judged_launch.h"

#include <algorithm>
#include <cmath>

#include "host/verdict/verdict_text.h"

namespace host {

SeenLaunch seenOf(const RecordedLaunch& launch, const Series& lookAfter) {
    SeenLaunch seen;
    seen.memoryKb = launch.series[Metric::kVmRss];
    seen.seen = seen.memoryKb.size();
    seen.memoryKb.insert(seen.memoryKb.end(), lookAfter.begin(), lookAfter.end());
    seen.window = launch.sampleBudget;
    seen.streak = launch.sampleBudget > kMostShortSamples ? kLongStreak : kShortStreak;
    if (!launch.finalIndex) return seen;
    seen.endpoint = static_cast<std::size_t>(*launch.finalIndex);
    const auto& ofMemory = launch.memoryEndpoints;
    seen.isByMemory =
        std::find(ofMemory.begin(), ofMemory.end(), *launch.finalIndex) != ofMemory.end();
    return seen;
}

std::optional<std::int32_t> sinceStartMs(const RecordedLaunch& launch, double startedAtMs) {
    const auto index = static_cast<std::size_t>(launch.finalIndex.value_or(0));
    if (!launch.finalIndex || index >= launch.sampledAtMs.size()) return std::nullopt;
    return static_cast<std::int32_t>(std::lround(launch.sampledAtMs[index] - startedAtMs));
}

Assessment assessmentOf(const JudgedLaunch& launch, const RecordedLaunch& recorded,
                        double startedAtMs, bool isStored) {
    const double huntTimeMs = recorded.huntTimeMs.value_or(0);
    Assessment assessment = assessmentOf(launch, static_cast<std::int32_t>(huntTimeMs));
    if (isStored) assessment.sinceStartMs = sinceStartMs(recorded, startedAtMs);
    return assessment;
}

Assessment assessmentOf(const JudgedLaunch& launch, std::int32_t firstSampleMs) {
    const SecondOpinion& opinion = launch.verdict.opinion;
    Assessment assessment;
    assessment.doubts.emplace();
    for (const Doubt doubt : launch.verdict.doubts)
        assessment.doubts->push_back(doubtWord(doubt));
    if (!opinion.settledAt) return assessment;
    const double settledMs = kSampleMs * static_cast<double>(*opinion.settledAt);
    assessment.secondOpinionMs = firstSampleMs + static_cast<std::int32_t>(settledMs);
    assessment.secondOpinionErrorMs =
        static_cast<std::int32_t>(std::lround(kSampleMs * opinion.errorSamples));
    return assessment;
}

std::string doubtText(const JudgedLaunch& launch) {
    const std::string remedy = remedyText(launch.seen, launch.verdict);
    return doubtSentences(launch.seen, launch.verdict) + (remedy.empty() ? "" : "; ") + remedy;
}

}  // namespace host
