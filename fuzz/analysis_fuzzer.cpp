// The whole analysis of a launch, from three series to the decision.
#include <algorithm>
#include <array>
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support.h"
#include "tests/library/peers.h"

namespace {

using Series = std::vector<std::int32_t>;
constexpr std::size_t kSeriesMax = 2000;

struct Launch {
    std::int32_t type;
    std::int32_t subType;
    std::size_t evaluations;
    std::array<Series, 3> metrics;
};

Launch launchOf(FuzzedDataProvider& input) {
    Launch launch{input.ConsumeIntegralInRange(0, 3),
                  input.ConsumeIntegralInRange(-1, 3),
                  input.ConsumeIntegralInRange<std::size_t>(1, 12),
                  {}};
    for (Series& series : launch.metrics) {
        const auto size = input.ConsumeIntegralInRange<std::size_t>(0, kSeriesMax);
        const bool isWide = input.ConsumeBool();
        while (series.size() < size && input.remaining_bytes() > 0)
            series.push_back(isWide ? input.ConsumeIntegral<std::int32_t>()
                                    : input.ConsumeIntegral<std::uint8_t>());
    }
    return launch;
}

/// The decided index, 0 for none.
std::int32_t analyse(const Launch& launch) {
    OrvoLearner learner;
    OrvoLearnerPeer peer(learner);
    peer.setLaunchType(launch.type, launch.subType);
    for (std::size_t part = 1; part <= launch.evaluations && !peer.decided; ++part) {
        const auto grown = [&](const Series& series) -> Series {
            const std::size_t size = series.size() * part / launch.evaluations;
            return {series.begin(), series.begin() + static_cast<std::ptrdiff_t>(size)};
        };
        peer.setSeries(grown(launch.metrics[0]), grown(launch.metrics[1]),
                       grown(launch.metrics[2]));
        learner.churnForStablizingPoints(0, launch.type == 2 ? 10 : 5);
        fuzz::require(peer.vmRssTop.size() <= 12 && peer.oomScoreTop.size() <= 12);
        learner.clearIntermediates();
    }
    const auto isBeyond = [&](const Series& series) {
        return static_cast<std::size_t>(peer.epIdx) >= series.size();
    };
    fuzz::require(peer.decided == (peer.epIdx >= 1));
    fuzz::require(!peer.decided ||
                  !std::all_of(launch.metrics.begin(), launch.metrics.end(), isBeyond));
    return peer.decided ? peer.epIdx : 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const Launch launch = launchOf(input);
    const std::int32_t first = analyse(launch);
    fuzz::require(analyse(launch) == first);
    return 0;
}
