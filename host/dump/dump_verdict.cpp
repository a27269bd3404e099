// The verdict on a recorded launch.
#include "host/dump/dump_verdict.h"

#include <algorithm>

#include "host/base/printable.h"
#include "host/verdict/verdict_text.h"

namespace host {
namespace {

std::size_t windowOf(const DumpedLaunch& launch) {
    if (launch.note) return launch.note->windowSamples;
    if (launch.isLong()) return kLongWindow;
    return launch.samples() > kShortWindow ? kExtendedWindow : kShortWindow;
}

// Also of a long launch, which takes the endpoint of one of its evaluations.
bool isByMemory(const DumpedLaunch& launch) {
    return std::any_of(
        launch.evaluations.begin(), launch.evaluations.end(), [&](const Evaluation& evaluation) {
            return evaluation.metrics[Metric::kVmRss].endpointIndex == launch.finalIndex();
        });
}

}  // namespace

const char* idOf(DumpOutcome outcome) {
    switch (outcome) {
        case DumpOutcome::kDecided:
            return "settled";
        case DumpOutcome::kUndecided:
            return "undecided";
        case DumpOutcome::kAborted:
            return "aborted";
        case DumpOutcome::kUnfinished:
            return "unfinished";
        case DumpOutcome::kCutOff:
            break;
    }
    return "cut_off";
}

std::string unsettledText(const DumpedLaunch& launch) {
    if (!launch.unevaluated.empty()) return printable(launch.unevaluated);
    switch (launch.outcome) {
        case DumpOutcome::kAborted:
            return "aborted";
        case DumpOutcome::kUnfinished:
            return "undecided, with evaluations missing";
        case DumpOutcome::kCutOff:
            return "cut off";
        default:
            return "undecided";
    }
}

std::optional<JudgedLaunch> judge(const DumpedLaunch& launch) {
    const bool isWhole =
        launch.outcome == DumpOutcome::kDecided || launch.outcome == DumpOutcome::kUndecided;
    if (!isWhole || launch.evaluations.empty()) return std::nullopt;
    SeenLaunch seen;
    seen.memoryKb = launch.series[Metric::kVmRss];
    seen.seen = seen.memoryKb.size();
    if (launch.note) {
        const Series& behind = launch.note->lookAfterKb;
        seen.memoryKb.insert(seen.memoryKb.end(), behind.begin(), behind.end());
    }
    seen.window = windowOf(launch);
    seen.streak = static_cast<std::size_t>(launch.streak());
    if (launch.finalIndex()) seen.endpoint = static_cast<std::size_t>(*launch.finalIndex());
    seen.isByMemory = isByMemory(launch);
    return JudgedLaunch(std::move(seen));
}

Assessment assessmentOf(const DumpedLaunch& launch, const std::optional<JudgedLaunch>& judged) {
    Assessment assessment = judged ? assessmentOf(*judged, 0) : Assessment();
    if (launch.note) assessment.sinceStartMs = launch.note->assessment.sinceStartMs;
    return assessment;
}

namespace {

// Without its doubts.
std::string outcomeText(const DumpedLaunch& launch) {
    if (launch.finalIndex()) {
        const std::string start = startText(assessmentOf(launch, std::nullopt));
        return "settled at " + std::to_string(timeMs(*launch.finalIndex())) + " ms" +
               (start.empty() ? "" : ", " + start);
    }
    return unsettledText(launch);
}

}  // namespace

std::string verdictText(const DumpedLaunch& launch) {
    const std::optional<JudgedLaunch> judged = judge(launch);
    std::string outcome = outcomeText(launch);
    if (!judged || judged->verdict.isSettled()) return outcome;
    return outcome + (launch.finalIndex() ? ": doubted, " : ": ") + doubtNames(judged->verdict);
}

}  // namespace host
