// Which process of a launch grows while one of them is sampled.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/process/process_look.h"

namespace host {

struct GrownProcess {
    std::string name;
    std::int64_t grownKb = 0;
};

/// Fed with looks at all processes of a launch, from the moment on that the
/// library samples one of them.
class TreeGrowth {
public:
    void take(const std::vector<ProcessLook>& tree);

    /// The process that grew most, if that is much more than `sampled` did.
    std::optional<GrownProcess> otherThan(pid_t sampled) const;

    /// Whether the memory of `sampled` changed by more than the analysis takes
    /// for settled.
    bool hasChanged(pid_t sampled) const;

private:
    struct Range {
        std::string name;
        std::int64_t baseKb = 0;  // what it did not grow itself
        std::int64_t smallestKb = 0;
        std::int64_t largestKb = 0;

        std::int64_t grownKb() const { return largestKb - baseKb; }
    };

    std::int64_t baseOf(const ProcessLook& look, const std::vector<ProcessLook>& tree) const;

    std::map<pid_t, Range> mRanges;
    bool mHasBegun = false;
};

}  // namespace host
