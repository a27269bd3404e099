// Which process of a launch grows while one of them is sampled.
#include "host/learn/tree_growth.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::int64_t kNotableKb = 1024;      // beyond what a waiting program allocates
constexpr std::int64_t kMuchMore = 4;          // helpers of a program grow too, but less
constexpr std::int64_t kTolerancePercent = 1;  // the analysis's, of memory

}  // namespace

// Memory that is there when the sampling begins was grown before. A fork starts with
// its parent's memory, a program with none.
std::int64_t TreeGrowth::baseOf(const ProcessLook& look,
                                const std::vector<ProcessLook>& tree) const {
    if (!mHasBegun) return look.memoryKb;
    const auto parent = std::find_if(tree.begin(), tree.end(), [&](const ProcessLook& other) {
        return other.pid == look.parent && other.name == look.name;
    });
    return parent == tree.end() ? 0 : std::min(look.memoryKb, parent->memoryKb);
}

void TreeGrowth::take(const std::vector<ProcessLook>& tree) {
    for (const ProcessLook& look : tree) {
        const auto known = mRanges.find(look.pid);
        if (known == mRanges.end()) {
            mRanges[look.pid] = {look.name, baseOf(look, tree), look.memoryKb, look.memoryKb};
            continue;
        }
        Range& range = known->second;
        range.name = look.name;
        range.smallestKb = std::min(range.smallestKb, look.memoryKb);
        range.largestKb = std::max(range.largestKb, look.memoryKb);
    }
    mHasBegun = mHasBegun || !tree.empty();
}

std::optional<GrownProcess> TreeGrowth::otherThan(pid_t sampled) const {
    const auto own = mRanges.find(sampled);
    const std::int64_t ownKb = own == mRanges.end() ? 0 : own->second.grownKb();
    std::optional<GrownProcess> most;
    for (const auto& [pid, range] : mRanges) {
        const bool isMore =
            pid != sampled && range.grownKb() >= kNotableKb && range.grownKb() > kMuchMore * ownKb;
        if (isMore && (!most || range.grownKb() > most->grownKb))
            most = {range.name, range.grownKb()};
    }
    return most;
}

bool TreeGrowth::hasChanged(pid_t sampled) const {
    const auto own = mRanges.find(sampled);
    if (own == mRanges.end()) return false;
    const Range& range = own->second;
    return (range.largestKb - range.smallestKb) * 100 > range.largestKb * kTolerancePercent;
}

}  // namespace host
