// The whole analysis of a launch, from three series to the decision.
//
// Input: launch type, subtype, number of evaluations, and per metric a share of
// the rest as its series, one byte or four to a value.
#include <algorithm>
#include <array>
#include <cstring>

#include "fuzz/support.h"
#include "tests/library/peers.h"

namespace {

using Series = std::vector<std::int32_t>;

struct Launch {
    std::int32_t type;
    std::int32_t subType;
    std::size_t evaluations;
    std::array<Series, 3> metrics;

    std::size_t longest() const {
        return std::max({metrics[0].size(), metrics[1].size(), metrics[2].size()});
    }
};

Series seriesOf(const std::uint8_t* data, std::size_t size, bool isWide) {
    if (!isWide) return {data, data + std::min<std::size_t>(size, 2000)};
    Series series(std::min<std::size_t>(size / sizeof(std::int32_t), 2000));
    if (!series.empty()) std::memcpy(series.data(), data, series.size() * sizeof(series[0]));
    return series;
}

Launch launchOf(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHeaderSize = 6;
    Launch launch{data[0] % 4, data[1] % 5 - 1, 1 + data[2] % 12U, {}};
    const std::size_t shares = 1U + data[3] + data[4];
    const std::uint8_t* rest = data + kHeaderSize;
    const std::size_t total = size - kHeaderSize;
    const std::size_t first = total * data[3] / shares;
    const std::size_t second = total * data[4] / shares;
    const std::size_t lengths[] = {first, second, total - first - second};
    for (std::size_t i = 0; i < 3; ++i) {
        launch.metrics[i] = seriesOf(rest, lengths[i], (data[5] >> i & 1) != 0);
        rest += lengths[i];
    }
    return launch;
}

Series firstPart(const Series& series, std::size_t part, std::size_t parts) {
    const auto length = static_cast<std::ptrdiff_t>(series.size() * part / parts);
    return {series.begin(), series.begin() + length};
}

/// The decided index, 0 for none.
std::int32_t analyse(const Launch& launch) {
    OrvoLearner learner;
    OrvoLearnerPeer peer(learner);
    peer.setLaunchType(launch.type, launch.subType);
    for (std::size_t part = 1; part <= launch.evaluations && !peer.decided; ++part) {
        const auto grown = [&](std::size_t metric) {
            return firstPart(launch.metrics[metric], part, launch.evaluations);
        };
        peer.setSeries(grown(0), grown(1), grown(2));
        learner.churnForStablizingPoints(0, launch.type == 2 ? 10 : 5);
        fuzz::require(peer.vmRssTop.size() <= 12 && peer.oomScoreTop.size() <= 12);
        learner.clearIntermediates();
    }
    const auto decidedIdx = static_cast<std::size_t>(peer.epIdx);
    fuzz::require(peer.decided == (peer.epIdx >= 1));
    fuzz::require(!peer.decided || decidedIdx < launch.longest());
    return peer.decided ? peer.epIdx : 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 6) return 0;
    const Launch launch = launchOf(data, size);
    const std::int32_t first = analyse(launch);
    fuzz::require(analyse(launch) == first);
    return 0;
}
