// What measure prints of the launches of one command.
#include "host/measure/measure_report.h"

#include <algorithm>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/compare/comparison_report.h"
#include "host/compare/comparison_warnings.h"

namespace host {
namespace {

std::string doubtsOf(const MeasuredLaunch& launch) {
    return doubtNames(launch.assessment);
}

std::string timeOf(const MeasuredLaunch& launch) {
    return std::to_string(*launch.settledMs()) + " ms";
}

// On a machine that slows down, more runs do not help.
std::string trendText(int trend) {
    if (trend > 0)
        return "the later runs took longer than the earlier ones: the machine slows down, or the "
               "runs leave something behind (--cleanup)";
    return "the later runs took less than the earlier ones: the machine or its caches may be "
           "warming up; try --warmup";
}

void addFault(std::vector<std::string>& lines, const std::string& what, const StepFaults& faults,
              const std::string& commandOutput) {
    if (faults.times == 0) return;
    lines.push_back(what + std::to_string(faults.times) + (faults.times == 1 ? " time" : " times") +
                    ", last with code " + std::to_string(faults.lastCode) +
                    "; what it printed is in " + commandOutput);
}

bool storeFailed(const LearnReport& report) {
    return std::any_of(report.launches.begin(), report.launches.end(), [](const auto& launch) {
        return launch.outcome == LaunchOutcome::kStoreFailed;
    });
}

bool isDoubted(const Measurement& measurement) {
    return std::any_of(measurement.launches.begin(), measurement.launches.end(),
                       [](const auto& launch) { return launch.settledMs() && launch.isDoubted(); });
}

}  // namespace

std::string renderText(const MeasurementSummary& summary) {
    std::string text = printable(summary.measurement->name) + ": " + medianText(summary) + '\n';
    if (!summary.unsettled.empty()) text += "left out: " + unsettledText(summary) + '\n';
    if (!summary.doubted.empty())
        text += "doubted: " + std::to_string(summary.doubted.size()) + " of " +
                std::to_string(summary.settledMs.size()) + ", " +
                printable(runsText(summary.doubted, doubtsOf)) + '\n';
    if (!summary.outliers.empty())
        text += "warning: far from the rest: " + runsText(summary.outliers, timeOf) + '\n';
    if (summary.trend != 0) text += "warning: " + trendText(summary.trend) + '\n';
    return text;
}

std::vector<std::string> faultsOf(const MeasureReport& report, const std::string& commandOutput) {
    std::vector<std::string> lines;
    addFault(lines, "a launch was not made because --prepare failed, ", report.prepare,
             commandOutput);
    addFault(lines, "--cleanup failed ", report.cleanup, commandOutput);
    return lines;
}

int exitCodeOf(const MeasureReport& report, bool isStrict) {
    if (std::any_of(report.seen.begin(), report.seen.end(), storeFailed)) return kEnvironment;
    if (report.end == MeasureEnd::kInterrupted) return kInterrupted;
    const std::vector<SettledTimes> times = settledTimes(report.results);
    const bool lacksTimes = std::any_of(times.begin(), times.end(),
                                        [](const SettledTimes& each) { return each.empty(); });
    const bool isCutShort = report.end == MeasureEnd::kCannotGoOn || report.prepare.times > 0;
    if (lacksTimes || isCutShort) return kNotLearned;
    const bool isAnyDoubted = std::any_of(report.results.begin(), report.results.end(), isDoubted);
    return isStrict && isAnyDoubted ? kDoubted : kDone;
}

}  // namespace host
