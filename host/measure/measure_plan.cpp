// How many launches are measured, and when each program starts.
#include "host/measure/measure_plan.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/library/metric.h"
#include "host/statistics/median.h"

namespace host {
namespace {

constexpr double kGoldenRatio = 0.6180339887498949;
constexpr double kInPercent = 100;

std::string percentText(double percent) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", percent);
    return text;
}

// How wide the median's interval is, in percent of the median, for the command where
// that is largest; none while one has too few runs for an interval.
std::optional<double> widthPercent(const std::vector<SettledTimes>& commands) {
    double widest = 0;
    for (const SettledTimes& times : commands) {
        const std::optional<Interval> interval = medianInterval(times);
        if (!interval) return std::nullopt;
        widest = std::max(widest, interval->width() / medianOf(times) * kInPercent);
    }
    return widest;
}

}  // namespace

std::optional<MeasureEnd> endAfter(int runs, const MeasurePlan& plan,
                                   const std::vector<SettledTimes>& commands) {
    if (runs < plan.runs) return std::nullopt;
    if (!plan.stablePercent) return MeasureEnd::kAllRuns;
    const bool isHopeless = std::any_of(commands.begin(), commands.end(),
                                        [](const SettledTimes& times) { return times.empty(); });
    if (isHopeless) return MeasureEnd::kNoEndpoint;
    const std::optional<double> width = widthPercent(commands);
    if (width && *width < *plan.stablePercent) return MeasureEnd::kStable;
    if (runs >= plan.mostRuns) return MeasureEnd::kMostRuns;
    return std::nullopt;
}

std::string endText(MeasureEnd end, int runs, const MeasurePlan& plan,
                    const std::vector<SettledTimes>& commands) {
    const std::optional<double> width = widthPercent(commands);
    const std::string all = std::to_string(runs) + (runs == 1 ? " run" : " runs");
    const std::string interval =
        width ? "the median's 95 % interval is " + percentText(*width) + " wide"
              : "the median's 95 % interval takes six runs with an endpoint";
    if (end == MeasureEnd::kStable) return "stable after " + all + ": " + interval;
    if (end == MeasureEnd::kMostRuns)
        return "not stable within --most-runs " + std::to_string(plan.mostRuns) + ": " + interval;
    if (end == MeasureEnd::kNoEndpoint)
        return "ended after " + all + ", for none " +
               (commands.size() > 1 ? "of one command " : "") + "had an endpoint";
    return "";
}

// The library looks every 30 ms from 200 ms after the launch event, so that times since a
// start that always comes right after lie on a grid, and a difference smaller than
// that would be rounded away. Starts that are spread over a period have the grid's
// place cancel out in the middle of many runs. Multiples of the golden ratio spread
// any number of runs evenly.
int phaseMs(int run) {
    const double turns = run * kGoldenRatio;
    return static_cast<int>((turns - std::floor(turns)) * kSamplePeriodMs);
}

std::string runTitle(int run, const MeasurePlan& plan) {
    const std::string title = "run " + std::to_string(run);
    if (!plan.stablePercent) return title + '/' + std::to_string(plan.runs);
    return title + " (at most " + std::to_string(plan.mostRuns) + ')';
}

}  // namespace host
