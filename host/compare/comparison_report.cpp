// A comparison as compare prints it, as text and as JSON.
#include "host/compare/comparison_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/compare/comparison_warnings.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;
constexpr std::size_t kCommandBytes = 60;

std::string rounded(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    const std::string shown = text;
    return shown.find_first_not_of("-0.") == std::string::npos ? "0" : shown;
}

std::string ms(double value) {
    return rounded(value, value == std::round(value) ? 0 : 1);
}

std::string percent(double value) {
    return rounded(value, std::fabs(value) < 1 ? 2 : 1);
}

std::string pText(double p) {
    return p < 0.001 ? "p < 0.001" : "p = " + rounded(p, p < 0.1 ? 4 : 2);
}

std::string differenceText(const Comparison& comparison, double sign) {
    std::string text = ms(sign * comparison.differenceMs) + " ms";
    if (comparison.differencePercent)
        text += ", " + percent(sign * *comparison.differencePercent) + " %";
    return text;
}

// Reversed for what is reported as faster.
std::string intervalText(const Comparison& comparison, double sign) {
    const auto between = [&](const Interval& interval, std::string (*number)(double)) {
        const double one = sign * interval.low;
        const double other = sign * interval.high;
        return number(std::min(one, other)) + " to " + number(std::max(one, other));
    };
    std::string text = " (95 %: " + between(*comparison.intervalMs, ms) + " ms";
    if (comparison.intervalPercent)
        text += ", " + between(*comparison.intervalPercent, percent) + " %";
    return text + "; rank test " + pText(*comparison.p) + ')';
}

std::string commandText(const Measurement& measurement) {
    std::string text;
    for (const std::string& word : measurement.command)
        text += (text.empty() ? "" : " ") + word;
    return printable(text, kCommandBytes);
}

std::string spreadText(const MeasurementSummary& summary) {
    const auto [smallest, largest] =
        std::minmax_element(summary.settledMs.begin(), summary.settledMs.end());
    return (*smallest == *largest ? "" : ms(*smallest) + " to ") + ms(*largest) + " ms";
}

std::string intervalOf(const MeasurementSummary& summary) {
    const std::optional<Interval>& interval = summary.medianIntervalMs;
    if (!interval) return "its 95 % interval takes six launches";
    return "95 %: " + ms(interval->low) + " to " + ms(interval->high) + " ms";
}

std::string summaryText(const MeasurementSummary& summary) {
    return printable(summary.measurement->name) + " (" + commandText(*summary.measurement) +
           "): " + medianText(summary) + '\n';
}

std::string doubtsOf(const MeasuredLaunch& launch) {
    return doubtNames(launch.assessment);
}

std::string doubtedText(const MeasurementSummary& summary, const std::string& which) {
    if (summary.doubted.empty()) return "";
    return "doubted in the " + which +
           ", compared all the same: " + printable(runsText(summary.doubted, doubtsOf)) + '\n';
}

Json runsOf(const std::vector<const MeasuredLaunch*>& launches) {
    Json runs = Json::array();
    for (const MeasuredLaunch* const launch : launches)
        runs.push_back(launch->run);
    return runs;
}

Json doubtsIn(const std::vector<const MeasuredLaunch*>& launches) {
    Json list = Json::array();
    for (const MeasuredLaunch* const launch : launches)
        list.push_back({{"run", launch->run}, {"doubts", *launch->assessment.doubts}});
    return list;
}

Json jsonOf(const std::optional<Interval>& interval) {
    return interval ? Json{interval->low, interval->high} : Json(nullptr);
}

const char* trendWord(int trend) {
    return trend == 0 ? "none" : trend > 0 ? "slower" : "faster";
}

Json differenceIn(const Comparison& comparison) {
    return {{"difference_ms", comparison.differenceMs},
            {"difference_interval_ms", jsonOf(comparison.intervalMs)},
            {"difference_percent", orNull(comparison.differencePercent)},
            {"difference_interval_percent", jsonOf(comparison.intervalPercent)},
            {"smallest_seen_percent", orNull(comparison.smallestSeenPercent)},
            {"p", orNull(comparison.p)},
            {"verdict", findingWord(comparison.finding)}};
}

Json jsonOf(const MeasurementSummary& summary) {
    const Measurement& measurement = *summary.measurement;
    const auto [smallest, largest] =
        std::minmax_element(summary.settledMs.begin(), summary.settledMs.end());
    return {{"name", measurement.name},
            {"command", measurement.command},
            {"measured_at_unix_ms", measurement.measuredAtUnixMs},
            {"window", windowName(windowOf(measurement.kind))},
            {"launches", measurement.launches.size()},
            {"launches_compared", summary.settledMs.size()},
            {"median_ms", orNull(summary.medianMs)},
            {"median_interval_ms", jsonOf(summary.medianIntervalMs)},
            {"smallest_ms", *smallest},
            {"largest_ms", *largest},
            {"trend", trendWord(summary.trend)},
            {"outlier_runs", runsOf(summary.outliers)},
            {"left_out_runs", runsOf(summary.unsettled)},
            {"doubted", doubtsIn(summary.doubted)}};
}

}  // namespace

std::string medianText(const MeasurementSummary& summary) {
    const std::size_t settled = summary.settledMs.size();
    const std::size_t all = summary.measurement->launches.size();
    const std::string launches = std::to_string(all) + (all == 1 ? " launch" : " launches");
    if (!summary.medianMs)
        return std::string("no time to the ") + timeName(summary.by) + " in " + launches;
    return "median " + ms(*summary.medianMs) + " ms after the start (" + intervalOf(summary) +
           "), all " + spreadText(summary) + ", " +
           (settled == all ? "" : std::to_string(settled) + " of ") + launches;
}

std::string findingText(const Comparison& comparison) {
    switch (comparison.finding) {
        case Finding::kSlower:
            return "slower by " + differenceText(comparison, 1) + intervalText(comparison, 1);
        case Finding::kFaster:
            return "faster by " + differenceText(comparison, -1) + intervalText(comparison, -1);
        case Finding::kNoDifferenceSeen:
            return "no difference seen: " + differenceText(comparison, 1) +
                   intervalText(comparison, 1) +
                   (comparison.smallestSeenPercent
                        ? "; too few runs to see less than " +
                              percent(*comparison.smallestSeenPercent) + " %"
                        : "");
        case Finding::kTooFewRuns:
            break;
    }
    const double sign = comparison.differenceMs < 0 ? -1 : 1;
    return "too few runs to tell: the medians are " + differenceText(comparison, sign) +
           " apart, and it takes six launches with such a time on either side";
}

std::string otherFindingText(const Comparison& comparison) {
    const MeasurementSummary& older = comparison.older;
    const MeasurementSummary& newer = comparison.newer;
    const bool isNeeded = older.by == TimeBy::kOpinion || comparison.isDoubted() ||
                          !older.unsettled.empty() || !newer.unsettled.empty();
    const std::optional<Comparison> other = isNeeded ? byOtherTime(comparison) : std::nullopt;
    if (!other) return "";
    return std::string("by the ") + timeName(other->older.by) + ": " + findingText(*other);
}

std::string renderText(const Comparison& comparison) {
    const std::string other = otherFindingText(comparison);
    std::string text = "old: " + summaryText(comparison.older) +
                       "new: " + summaryText(comparison.newer) + "new against old" +
                       (comparison.older.by == TimeBy::kOpinion ? ", by the second opinion" : "") +
                       ": " + findingText(comparison) + '\n' + (other.empty() ? "" : other + '\n') +
                       doubtedText(comparison.older, "old") + doubtedText(comparison.newer, "new");
    for (const std::string& warning : comparison.warnings)
        text += "warning: " + printable(warning) + '\n';
    return text;
}

Json jsonOf(const Comparison& comparison) {
    const std::optional<Comparison> other = byOtherTime(comparison);
    Json json{{"schema_version", kSchemaVersion},
              {"by", timeName(comparison.older.by)},
              {"old", jsonOf(comparison.older)},
              {"new", jsonOf(comparison.newer)}};
    json.update(differenceIn(comparison));
    json["other"] = nullptr;
    if (other) {
        json["other"] = {{"by", timeName(other->older.by)}};
        json["other"].update(differenceIn(*other));
    }
    json["warnings"] = comparison.warnings;
    return json;
}

}  // namespace host
