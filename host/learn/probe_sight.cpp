// What is seen of a probing launch, and what is printed of it.
#include "host/learn/probe_sight.h"

#include <algorithm>
#include <cmath>

#include "host/base/json_text.h"
#include "host/library/look_after.h"

namespace host {
namespace {

std::int32_t sinceLaunchMs(const ProbeSight& sight, std::size_t sample) {
    return static_cast<std::int32_t>(
        std::lround(sight.firstMs + kSampleMs * static_cast<double>(sample)));
}

}  // namespace

// A process is another program once it shows another name.
void ProbedMemory::take(double sinceReleaseMs, const std::vector<ProcessLook>& tree) {
    if (sinceReleaseMs < kFirstLookMs) return;
    for (const ProcessLook& look : tree) {
        const auto kb = static_cast<std::int32_t>(look.memoryKb);
        Track& track = mTracks[look.pid];
        if (track.firstMs <= 0 || track.name != look.name) {
            track = {look.name, sinceReleaseMs, kb, {}};
        } else {
            addLook(track.later, track.firstKb, sinceReleaseMs - track.firstMs, kb);
        }
    }
}

// The library takes the first in the task list, which has them by number.
std::optional<pid_t> ProbedMemory::processOf(const std::string& name) const {
    const auto found = std::find_if(mTracks.begin(), mTracks.end(),
                                    [&](const auto& each) { return each.second.name == name; });
    if (found == mTracks.end()) return std::nullopt;
    return found->first;
}

Series ProbedMemory::memoryOf(pid_t process) const {
    const Track& track = mTracks.at(process);
    Series memory{track.firstKb};
    memory.insert(memory.end(), track.later.begin(), track.later.end());
    return memory;
}

std::optional<std::int32_t> ProbeSight::settledMs() const {
    if (!choice.settledAt()) return std::nullopt;
    return sinceLaunchMs(*this, *choice.settledAt());
}

std::string findingText(const ProbeSight& sight) {
    const WindowChoice& choice = sight.choice;
    const std::string end = std::to_string(sinceLaunchMs(sight, choice.seen)) + " ms";
    const auto settledMs = sight.settledMs();
    if (!settledMs) {
        return sight.hasEnded ? "the process ended after " + end + ", before it had settled"
                              : "did not settle within a minute";
    }
    const std::string when = *choice.settledAt() == 0
                                 ? "before the first look, 200 ms after the start"
                                 : "after " + std::to_string(*settledMs) + " ms";
    return "settled " + when + (choice.opinion.settledAt ? "" : ", but for a slow drift") +
           (sight.hasEnded ? ", and ended after " + end : "");
}

std::string textOf(const ProbeSight& sight) {
    const Window window = sight.choice.window;
    const bool isHopeless = !sight.settledMs() && window == Window::kLong;
    return findingText(sight) + "; learning with " + windowText(window) +
           (isHopeless ? ", and doubtful of what comes of it" : "");
}

Json jsonOf(const ProbeSight& sight) {
    return {{"settled_since_start_ms", orNull(sight.settledMs())},
            {"drifts", sight.choice.opinion.driftsFrom.has_value()},
            {"seen_ms", sinceLaunchMs(sight, sight.choice.seen)}};
}

}  // namespace host
