// Whether a launch's endpoint can be believed: what its memory says against it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/verdict/second_opinion.h"

namespace host {

constexpr double kSampleMs = 30;  ///< from one sample to the next

// Samples that the library sees of a launch: type 1, with subtype 1 or 2, type 2.
constexpr std::size_t kShortWindow = 34;
constexpr std::size_t kExtendedWindow = 100;
constexpr std::size_t kLongWindow = 2000;

/// What was seen of a launch. Indices count samples from the first.
struct SeenLaunch {
    std::vector<std::int32_t> memoryKb;   ///< what the library saw, and the look after behind it
    std::size_t seen = 0;                 ///< samples that the library saw of it
    std::size_t window = 0;               ///< samples that it sees at most: 34, 100 or 2000
    std::optional<std::size_t> endpoint;  ///< the library's; none when undecided
    std::size_t streak = kShortStreak;    ///< samples in a row that it asks for
    bool isByMemory = true;  ///< false when only score or descriptors put the endpoint there
};

enum class Doubt {
    kTooFewSamples,
    kGrowing,    ///< still growing, or falling, at the end of what was seen
    kDrifting,   ///< changes slowly to the end, and not from the endpoint on
    kFlat,       ///< at its level from the first sample on: done before the first look
    kAtRest,     ///< memory goes on behind the endpoint, or may, by the rests before
    kMakeshift,  ///< the endpoint is late and starts no full run of quiet samples
    kNoisy,      ///< noise above the library's tolerance moved or hid the endpoint
    kLate,       ///< memory was at its level well before, noise or not
};

struct Verdict {
    std::vector<Doubt> doubts;     ///< empty: settled
    SecondOpinion opinion;         ///< from all of `memoryKb`
    std::size_t quietSamples = 0;  ///< at the last level, to the end of what was seen

    bool isSettled() const { return doubts.empty(); }
};

/// Whether the endpoint lies further from the second opinion than that may be off,
/// or only one of the two is there.
bool differs(const SeenLaunch& launch, const SecondOpinion& opinion);

/// An endpoint is doubted when it lies further from the second opinion than
/// this: 3 samples, or 5 % of the window where that is more.
double allowedDifference(std::size_t window);

/// A launch is doubted when its memory does not end at a level; when it has
/// been at that level for less time than it rested before it grew on; and when
/// the endpoint is not where the second opinion has it. Why it is not names the
/// doubt. Noise and drift that leave the endpoint in its place are not doubts.
Verdict verdictOn(const SeenLaunch& launch);

}  // namespace host
