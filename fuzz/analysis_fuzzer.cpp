// The whole analysis of a launch, from three series to the decision.
#include <algorithm>
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support.h"
#include "host/dump/analysis.h"

namespace {

constexpr std::size_t kSeriesMax = 2000;

struct Launch {
    std::int32_t type;
    std::int32_t subType;
    std::size_t evaluations;
    host::PerMetric<host::Series> series;
};

Launch launchOf(FuzzedDataProvider& input) {
    Launch launch{input.ConsumeIntegralInRange(0, 3),
                  input.ConsumeIntegralInRange(-1, 3),
                  input.ConsumeIntegralInRange<std::size_t>(1, 12),
                  {}};
    for (host::Series& series : launch.series.values) {
        const auto size = input.ConsumeIntegralInRange<std::size_t>(0, kSeriesMax);
        const bool isWide = input.ConsumeBool();
        while (series.size() < size && input.remaining_bytes() > 0)
            series.push_back(isWide ? input.ConsumeIntegral<std::int32_t>()
                                    : input.ConsumeIntegral<std::uint8_t>());
    }
    return launch;
}

// The decided index, 0 for none.
std::int32_t analyse(const Launch& launch) {
    std::vector<host::SeriesLengths> seen(launch.evaluations);
    for (std::size_t part = 1; part <= launch.evaluations; ++part) {
        for (const host::Metric metric : host::kMetrics)
            seen[part - 1][metric] = launch.series[metric].size() * part / launch.evaluations;
    }
    host::Analysis analysis(launch.type, launch.subType);
    const auto result = analysis.evaluateUntilDecided(launch.series, seen).back();
    for (const host::Series& top : analysis.topValues().values)
        fuzz::require(top.size() <= 12);
    if (!result.finalIndex) return 0;
    fuzz::require(*result.finalIndex >= 1);
    const auto reachesTo = [&](const host::Series& series) {
        return static_cast<std::size_t>(*result.finalIndex) < series.size();
    };
    const auto& all = launch.series.values;
    fuzz::require(std::any_of(all.begin(), all.end(), reachesTo));
    return *result.finalIndex;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const Launch launch = launchOf(input);
    const std::int32_t first = analyse(launch);
    fuzz::require(analyse(launch) == first);
    return 0;
}
