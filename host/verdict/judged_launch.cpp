// A launch with its verdict, and what of it is told and kept.
#include "host/verdict/judged_launch.h"

#include <cmath>

#include "host/verdict/verdict_text.h"

namespace host {

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

std::string opinionText(const Assessment& assessment) {
    if (!assessment.secondOpinionMs) return "none";
    return std::to_string(*assessment.secondOpinionMs) + " ms, within " +
           std::to_string(assessment.secondOpinionErrorMs.value_or(0)) + " ms";
}

}  // namespace host
