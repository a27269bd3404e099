// What makes two measurements hard to compare.
#include "host/compare/comparison_warnings.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace host {
namespace {

constexpr std::size_t kMostRuns = 10;      // named in a line
constexpr std::int64_t kMemoryGrain = 50;  // kernels take a little of it, more or less
constexpr std::int64_t kKbPerMb = 1024;

std::string bothText(const std::string& what, const std::string& one, const std::string& other) {
    return what + ' ' + (one.empty() ? "unknown" : one) + " and " +
           (other.empty() ? "unknown" : other);
}

std::string machineDifferences(const Machine& one, const Machine& other) {
    std::string text;
    const auto add = [&](bool differs, const char* what, const std::string& ofOne,
                         const std::string& ofOther) {
        if (differs) text += (text.empty() ? "" : ", ") + bothText(what, ofOne, ofOther);
    };
    const auto addText = [&](const char* what, const std::string& ofOne,
                             const std::string& ofOther) {
        add(ofOne != ofOther, what, ofOne, ofOther);
    };
    addText("host", one.host, other.host);
    addText("architecture", one.architecture, other.architecture);
    addText("processor", one.processor, other.processor);
    addText("processors", std::to_string(one.processors), std::to_string(other.processors));
    add(std::abs(one.memoryKb - other.memoryKb) > one.memoryKb / kMemoryGrain, "memory",
        std::to_string(one.memoryKb / kKbPerMb) + " MB",
        std::to_string(other.memoryKb / kKbPerMb) + " MB");
    addText("kernel", one.kernel, other.kernel);
    return text;
}

void warnOfDifferences(const Measurement& older, const Measurement& newer,
                       std::vector<std::string>& warnings) {
    const std::string machines = machineDifferences(older.machine, newer.machine);
    if (!machines.empty()) warnings.push_back("measured on different machines: " + machines);
    if (older.machine.library != newer.machine.library)
        warnings.push_back(bothText("measured by different libraries:", older.machine.library,
                                    newer.machine.library));
    if (older.name != newer.name)
        warnings.push_back(bothText("measured under different names:", older.name, newer.name));
    const Window before = windowOf(older.kind);
    const Window after = windowOf(newer.kind);
    if (before != after) {
        warnings.push_back(
            bothText("measured in different windows,", windowName(before), windowName(after)) +
            ", in which an endpoint means different things; measure both with "
            "the same --window");
    } else if (older.kind.type != newer.kind.type || older.kind.subtype != newer.kind.subtype) {
        warnings.emplace_back(
            "measured as different kinds of launch, which are decided differently");
    }
}

// Why it has no time to compare.
std::string reasonOf(const MeasuredLaunch& launch, TimeBy by) {
    const bool hasOne = by == TimeBy::kEndpoint ? launch.endpointMs.has_value()
                                                : launch.assessment.secondOpinionMs.has_value();
    if (hasOne) return "with no time since their start";
    const bool isJudged = launch.assessment.doubts.has_value();
    return by == TimeBy::kOpinion && isJudged ? "not settled" : launch.outcome;
}

void warnOf(const MeasurementSummary& summary, const std::string& which,
            std::vector<std::string>& warnings) {
    if (!summary.unsettled.empty())
        warnings.push_back("left out of the " + which + ": " + unsettledText(summary));
    if (!summary.outliers.empty())
        warnings.push_back("far from the rest of the " + which + ": " +
                           runsText(summary.outliers, [&](const MeasuredLaunch& launch) {
                               return std::to_string(*launch.timeMs(summary.by)) + " ms";
                           }));
    if (summary.trend != 0)
        warnings.push_back("the later launches of the " + which + " took " +
                           (summary.trend > 0 ? "longer" : "less") +
                           " than the earlier ones: something else than the build changed");
}

}  // namespace

const char* timeName(TimeBy by) {
    return by == TimeBy::kEndpoint ? "endpoint" : "second opinion";
}

std::string unsettledText(const MeasurementSummary& summary) {
    std::map<std::string, int> counts;
    for (const MeasuredLaunch* const launch : summary.unsettled)
        ++counts[reasonOf(*launch, summary.by)];
    std::string text;
    for (const auto& [outcome, count] : counts)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + outcome;
    const std::size_t all = summary.unsettled.size();
    return std::to_string(all) + (all == 1 ? " launch" : " launches") + " without a time to " +
           (summary.by == TimeBy::kEndpoint ? "an " : "a ") + timeName(summary.by) + " (" + text +
           ')';
}

std::string runsText(const std::vector<const MeasuredLaunch*>& launches,
                     const std::function<std::string(const MeasuredLaunch&)>& what) {
    std::string text;
    for (std::size_t i = 0; i < std::min(launches.size(), kMostRuns); ++i)
        text += (i == 0 ? "run " : ", run ") + std::to_string(launches[i]->run) + " (" +
                what(*launches[i]) + ')';
    if (launches.size() > kMostRuns)
        text += " and " + std::to_string(launches.size() - kMostRuns) + " more";
    return text;
}

std::vector<std::string> warningsOf(const MeasurementSummary& older,
                                    const MeasurementSummary& newer) {
    std::vector<std::string> warnings;
    warnOfDifferences(*older.measurement, *newer.measurement, warnings);
    warnOf(older, "old", warnings);
    warnOf(newer, "new", warnings);
    return warnings;
}

}  // namespace host
