// What a report says of two recordings beside each other.
#include "host/report/comparison_section.h"

#include <algorithm>
#include <cmath>

#include "host/base/exit_code.h"
#include "host/compare/comparison_report.h"
#include "host/dump/dump_verdict.h"
#include "host/export/moments.h"
#include "host/report/html.h"
#include "host/report/report_pictures.h"

namespace host {
namespace {

MeasuredLaunch measuredOf(const DumpedLaunch& launch) {
    const Moments moments(launch);
    MeasuredLaunch measured;
    measured.run = static_cast<std::int32_t>(launch.number);
    measured.assessment = assessmentOf(launch, judge(launch));
    measured.huntTimeMs = 0;  // that opinion counts from the first sample
    measured.outcome = launch.finalIndex() ? "stored" : unsettledText(launch);
    if (launch.finalIndex() && !measured.settledMs()) measured.outcome = "without a known start";
    measured.series = launch.series;
    measured.finalIndex = launch.finalIndex();
    for (std::size_t i = 0; moments.isSinceStart() && i < launch.series[Metric::kVmRss].size(); ++i)
        measured.sampledAtMs.push_back(static_cast<std::int32_t>(std::lround(moments.sampleMs(i))));
    return measured;
}

std::vector<std::string> rowOf(const std::string& title, const MeasurementSummary& summary) {
    const auto [smallest, largest] =
        std::minmax_element(summary.settledMs.begin(), summary.settledMs.end());
    const std::optional<Interval>& interval = summary.medianIntervalMs;
    std::string doubted;
    for (const MeasuredLaunch* const launch : summary.doubted)
        doubted += (doubted.empty() ? "" : ", ") + std::to_string(launch->run);
    return {title,
            std::to_string(summary.settledMs.size()) + " of " +
                std::to_string(summary.measurement->launches.size()),
            msHtml(*summary.medianMs),
            interval ? msHtml(interval->low) + " to " + msHtml(interval->high) : "-",
            msHtml(*smallest) + " to " + msHtml(*largest),
            doubted.empty() ? "none" : doubted};
}

std::string asHtml(const Comparison& comparison, const ReportedSide& older,
                   const ReportedSide& newer) {
    std::string html = "<p><strong>" + htmlText(newer.recording.title) + " against " +
                       htmlText(older.recording.title) + ": " + htmlText(findingText(comparison)) +
                       ".</strong></p>\n";
    const std::string other = otherFindingText(comparison);
    if (!other.empty()) html += "<p>The same launches " + htmlText(other) + ".</p>\n";
    html +=
        tableHtml({{"LAUNCHES OF", "COMPARED", "MEDIAN", "95 % OF THE MEDIAN", "ALL", "DOUBTED"},
                   rowOf(older.recording.title, comparison.older),
                   rowOf(newer.recording.title, comparison.newer)},
                  {});
    for (const std::string& warning : comparison.warnings)
        html += "<p>Warning: " + htmlText(warning) + ".</p>\n";
    return html + "<p class='soft'>Times count from the start of the launched programs.</p>\n";
}

}  // namespace

Measurement measurementOf(const Recording& recording, const ReportedLaunches& launches) {
    if (recording.measurement) return *recording.measurement;
    Measurement measurement;
    measurement.name = recording.name;
    for (const DumpedLaunch& launch : launches.launches) {
        measurement.launches.push_back(measuredOf(launch));
        if (launch.note && launchKindFault(launch.note->kind).empty())
            measurement.kind = launch.note->kind;
    }
    return measurement;
}

std::string comparisonSection(const ReportedSide& older, const ReportedSide& newer) {
    const Measurement before = measurementOf(older.recording, older.launches);
    const Measurement after = measurementOf(newer.recording, newer.launches);
    try {
        const Comparison comparison = compare(before, after);
        return asHtml(comparison, older, newer) + "<div class='cards'>\n" +
               timesFigure(comparison, "c1") + medianMemoryFigure(comparison, "c2") + "</div>\n";
    } catch (const HostError& error) {
        return "<p>" + htmlText(error.what()) + ".</p>\n";
    }
}

}  // namespace host
