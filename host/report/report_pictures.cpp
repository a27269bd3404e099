// The pictures of a report: one launch, and several laid over each other.
#include "host/report/report_pictures.h"

#include <algorithm>
#include <array>
#include <limits>

#include "host/compare/comparison_report.h"
#include "host/compare/median_series.h"
#include "host/dump/dump_verdict.h"
#include "host/dump/explanation.h"
#include "host/dump/overlay_panel.h"
#include "host/dump/plot_script.h"
#include "host/export/moments.h"
#include "host/report/html.h"
#include "host/report/svg_chart.h"
#include "host/state/spread.h"

namespace host {
namespace {

constexpr const char* kOlderStyle = "l0";
constexpr const char* kNewerStyle = "l1";
constexpr double kRoomBeside = 0.05;                              // the dots, of their span
constexpr std::array<double, 4> kDotHeights{0.3, 0.7, 0.5, 0.9};  // lest they hide each other
constexpr std::size_t kLooks = 6;  // that the page has: the newest launches' own

// An entry of a key: what the line of that class is.
std::string keyEntry(const std::string& style, const std::string& text) {
    return "<span class='k " + style + "'>" + htmlText(text) + "</span>\n";
}

std::string figure(const std::string& picture, const std::string& key) {
    return "<figure>\n" + picture + "<figcaption>" + key + "</figcaption></figure>\n";
}

// Beside memory the other metrics seldom show anything, unless they decided.
bool isStrip(const std::vector<const DumpedLaunch*>& launches, Metric metric) {
    if (metric == Metric::kVmRss) return false;
    return std::none_of(launches.begin(), launches.end(), [&](const DumpedLaunch* launch) {
        const std::vector<Metric> setBy = explain(*launch).setBy;
        return std::find(setBy.begin(), setBy.end(), metric) != setBy.end();
    });
}

class LaunchFigure {
public:
    explicit LaunchFigure(const DumpedLaunch& launch)
        : mLaunch(launch),
          mMoments(launch),
          mJudged(judge(launch)),
          mAxes({&launch}),
          mChart(TimeSpan(mAxes.time)) {}

    std::string build(const std::string& title, const std::string& id) {
        for (const Metric metric : metricsWithSamples({&mLaunch}))
            addPanel(metric);
        return figure(mChart.build(id, title, verdictText(mLaunch)), key());
    }

private:
    void addPanel(Metric metric) {
        const Series& series = mLaunch.series[metric];
        const Series& behind = lookAfterOf(mLaunch, metric);
        Series all = series;
        all.insert(all.end(), behind.begin(), behind.end());
        const auto [low, high] = std::minmax_element(all.begin(), all.end());
        mChart.startPanel(metric, mAxes.units[metric], *low, *high, isStrip({&mLaunch}, metric));
        if (mMoments.isSinceStart()) mChart.addSpan(0, mMoments.sampleMs(0), "un");
        if (*low != *high) addSettledValue(metric);
        addSeries(all, series.size());
        if (*low != *high && metric == Metric::kVmRss && mLaunch.evaluations.size() > 1)
            addEvaluations(metric);
        addMarks(metric);
    }

    void addSettledValue(Metric metric) {
        if (mLaunch.evaluations.empty()) return;
        const double value = mLaunch.evaluations.back().metrics[metric].settledValue;
        const double half = value * traitsOf(metric).tolerancePercent / 100.0;
        if (value > 0) mChart.addBand(value - half, value + half, "bd");
    }

    void addSeries(const Series& all, std::size_t seen) {
        SvgChart::Points points;
        for (std::size_t i = 0; i < all.size(); ++i)
            points.emplace_back(mMoments.sampleMs(i), all[i]);
        const std::size_t first = seen - std::min<std::size_t>(seen, 1);
        const auto border = points.begin() + static_cast<std::ptrdiff_t>(seen);
        if (all.size() > seen)
            mChart.addLine({points.begin() + static_cast<std::ptrdiff_t>(first), points.end()},
                           "be");
        mChart.addLine({points.begin(), border}, "se");
    }

    void addEvaluations(Metric metric) {
        for (const Evaluation& evaluation : mLaunch.evaluations) {
            const MetricResult& result = evaluation.metrics[metric];
            const double endMs = mMoments.evaluationMs(evaluation);
            const double value = result.settledValue;
            if (result.endpointIndex > 0) {
                const auto from = static_cast<std::size_t>(result.endpointIndex);
                mChart.addLine({{mMoments.sampleMs(from), value}, {endMs, value}}, "ev");
            }
        }
    }

    bool hasLookAfter() const { return !lookAfterOf(mLaunch, Metric::kVmRss).empty(); }

    bool hasOtherOpinion() const {
        return mJudged && mJudged->verdict.opinion.settledAt &&
               differs(mJudged->seen, mJudged->verdict.opinion);
    }

    void addMarks(Metric metric) {
        if (const auto ms = mMoments.firstLookMs()) mChart.addMark(*ms, "fl");
        if (hasLookAfter()) mChart.addMark(*mMoments.lastSampleMs(), "we");
        if (const auto ms = mMoments.endpointMs()) mChart.addMark(*ms, "ep");
        if (hasOtherOpinion() && metric == Metric::kVmRss)
            mChart.addMark(*mMoments.opinionMs(mJudged), "op");
    }

    std::string key() const {
        std::string key;
        if (const auto ms = mMoments.endpointMs())
            key += keyEntry("ep", "endpoint " + TimeAxis::text(*ms));
        if (hasOtherOpinion()) {
            const double errorMs = kSampleMs * mJudged->verdict.opinion.errorSamples;
            key += keyEntry("op", "second opinion " + TimeAxis::text(*mMoments.opinionMs(mJudged)) +
                                      ", within " + TimeAxis::text(errorMs));
        }
        if (const auto ms = mMoments.firstLookMs())
            key += keyEntry("fl", "first look " + TimeAxis::text(*ms));
        if (hasLookAfter()) {
            const char* const name =
                mMoments.isWindowWhole() ? "window's end " : "the library's last sample ";
            key += keyEntry("we", name + TimeAxis::text(*mMoments.lastSampleMs())) +
                   keyEntry("be", "seen behind it");
        }
        if (mLaunch.evaluations.size() > 1)
            key += keyEntry("ev", "evaluations, from the endpoint found to their time");
        return key;
    }

    const DumpedLaunch& mLaunch;
    const Moments mMoments;
    const std::optional<JudgedLaunch> mJudged;
    const Axes mAxes;
    SvgChart mChart;
};

class OverlayFigure {
public:
    explicit OverlayFigure(const std::vector<const DumpedLaunch*>& launches)
        : mLaunches(launches),
          mAlike(alikeAmong(launches)),
          mAxes(launches),
          mChart(TimeSpan(mAxes.time)) {}

    std::string build(const std::string& title, const std::string& id) {
        for (const Metric metric : metricsWithSamples(mLaunches)) {
            if (!isStrip(mLaunches, metric)) addPanel(metric);
        }
        const std::string text = std::to_string(mLaunches.size()) + " launches over each other";
        return figure(mChart.build(id, title, text), key());
    }

private:
    void addPanel(Metric metric) {
        std::int32_t low = std::numeric_limits<std::int32_t>::max();
        std::int32_t high = 0;
        for (const DumpedLaunch* const launch : mLaunches) {
            for (const std::int32_t value : launch->series[metric]) {
                low = std::min(low, value);
                high = std::max(high, value);
            }
        }
        mChart.startPanel(metric, mAxes.units[metric], low, high, false);
        for (std::size_t i = 0; i < mAlike.size(); ++i)
            addLaunch(*mAlike[i].newest, metric, styleOf(i));
        if (const auto ms = medianMs()) mChart.addMark(*ms, "ep");
    }

    // The oldest have none of their own.
    std::string styleOf(std::size_t i) const {
        const std::size_t faint = mAlike.size() - std::min(mAlike.size(), kLooks);
        return i < faint ? "old" : "l" + std::to_string(i - faint);
    }

    void addLaunch(const DumpedLaunch& launch, Metric metric, const std::string& style) {
        SvgChart::Points points;
        for (const std::int32_t value : launch.series[metric])
            points.emplace_back(mAxes.time.timeMs(launch, points.size()), value);
        mChart.addLine(points, style);
        const auto index = static_cast<std::size_t>(launch.finalIndex().value_or(0));
        if (index > 0 && index < points.size())
            mChart.addPoint(points[index].first, points[index].second, style);
    }

    std::optional<double> medianMs() const {
        std::vector<double> endpointsMs;
        for (const DumpedLaunch* const launch : mLaunches) {
            if (launch->finalIndex())
                endpointsMs.push_back(
                    mAxes.time.timeMs(*launch, static_cast<std::size_t>(*launch->finalIndex())));
        }
        if (endpointsMs.empty()) return std::nullopt;
        return spreadOf(endpointsMs).medianMs;
    }

    std::string key() const {
        std::string key;
        if (mAlike.size() > kLooks) key += keyEntry("old", "older launches");
        for (std::size_t i = mAlike.size() - std::min(mAlike.size(), kLooks); i < mAlike.size();
             ++i)
            key += keyEntry(styleOf(i), nameOf(mAlike[i]));
        if (const auto ms = medianMs())
            key += keyEntry("ep", "median endpoint " + TimeAxis::text(*ms));
        return key;
    }

    static std::string nameOf(const AlikeLaunches& alike) {
        return "launch " + std::to_string(alike.newest->number) +
               (alike.count > 1 ? ", one of " + std::to_string(alike.count) + " alike" : "");
    }

    const std::vector<const DumpedLaunch*>& mLaunches;
    const std::vector<AlikeLaunches> mAlike;
    const Axes mAxes;
    SvgChart mChart;
};

}  // namespace

std::string launchFigure(const DumpedLaunch& launch, const std::string& title,
                         const std::string& id) {
    return LaunchFigure(launch).build(title, id);
}

std::string overlayFigure(const std::vector<const DumpedLaunch*>& launches,
                          const std::string& title, const std::string& id) {
    return OverlayFigure(launches).build(title, id);
}

std::string timesFigure(const Comparison& comparison, const std::string& id) {
    const std::vector<double>& older = comparison.older.settledMs;
    const std::vector<double>& newer = comparison.newer.settledMs;
    const auto [low, high] = std::minmax({*std::min_element(older.begin(), older.end()),
                                          *std::min_element(newer.begin(), newer.end()),
                                          *std::max_element(older.begin(), older.end()),
                                          *std::max_element(newer.begin(), newer.end())});
    const double room = std::max(kRoomBeside * (high - low), 1.0);
    SvgChart chart(TimeSpan(low - room, high + room, "ms since the program's start"));
    for (const bool isOlder : {true, false}) {
        const MeasurementSummary& side = isOlder ? comparison.older : comparison.newer;
        const std::string style = isOlder ? kOlderStyle : kNewerStyle;
        chart.startStrip(isOlder ? "older" : "newer");
        if (side.medianIntervalMs)
            chart.addSpan(side.medianIntervalMs->low, side.medianIntervalMs->high, "bd");
        for (std::size_t i = 0; i < side.settledMs.size(); ++i)
            chart.addPoint(side.settledMs[i], kDotHeights[i % kDotHeights.size()], style);
        chart.addMark(*side.medianMs, "ep");
    }
    return figure(chart.build(id, "When the launches settled", findingText(comparison)),
                  keyEntry(kOlderStyle, "a launch of the older") +
                      keyEntry(kNewerStyle, "a launch of the newer") + keyEntry("ep", "median") +
                      "<span>pale: its 95 % interval</span>\n");
}

std::string medianMemoryFigure(const Comparison& comparison, const std::string& id) {
    double low = std::numeric_limits<double>::max();
    double high = 0;
    double endMs = 0;
    std::vector<SvgChart::Points> lines;
    for (const MeasurementSummary* const side : {&comparison.older, &comparison.newer}) {
        lines.emplace_back();
        for (const SeriesPoint& point : medianMemory(*side->measurement)) {
            lines.back().emplace_back(point.sinceStartMs, point.memoryKb);
            low = std::min(low, point.memoryKb);
            high = std::max(high, point.memoryKb);
            endMs = std::max(endMs, point.sinceStartMs);
        }
        if (lines.back().empty()) return "";
    }
    SvgChart chart(TimeSpan(0, endMs, "ms since the program's start"));
    chart.startPanel(Metric::kVmRss, unitOf(Metric::kVmRss, high), low, high, false);
    chart.addLine(lines.front(), kOlderStyle);
    chart.addLine(lines.back(), kNewerStyle);
    chart.addMark(*comparison.older.medianMs, kOlderStyle);
    chart.addMark(*comparison.newer.medianMs, kNewerStyle);
    return figure(
        chart.build(id, "Memory, as most launches had it", findingText(comparison)),
        keyEntry(kOlderStyle, "older, with its median time") + keyEntry(kNewerStyle, "newer"));
}

}  // namespace host
