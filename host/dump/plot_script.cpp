// The gnuplot script that draws recorded launches.
#include "host/dump/plot_script.h"

#include <algorithm>
#include <sstream>

#include "host/base/printable.h"
#include "host/dump/dump_verdict.h"
#include "host/dump/launch_panel.h"
#include "host/dump/overlay_panel.h"

namespace host {
namespace {

constexpr int kWidthPx = 1000;
constexpr int kPanelPx = 330;
constexpr int kTitlePx = 40;
constexpr int kPanelRows = 18;
constexpr std::size_t kLongestName = 44;  // leaves room for the launch's outcome
constexpr const char* kTimeTitle = "ms since sampling began";

bool isOverlay(const Picture& picture) {
    return picture.launches.size() > 1;
}

bool isDoubted(const DumpedLaunch* launch) {
    return launch->finalIndex() && assessmentOf(*launch, judge(*launch)).isDoubted();
}

std::string titleOf(const Picture& picture) {
    const std::string name = printable(picture.package, kLongestName);
    if (!isOverlay(picture)) {
        const DumpedLaunch& launch = *picture.launches.front();
        return name + ", launch " + std::to_string(launch.number) + ": " + verdictText(launch);
    }
    const auto settled =
        std::count_if(picture.launches.begin(), picture.launches.end(),
                      [](const DumpedLaunch* launch) { return launch->finalIndex().has_value(); });
    const auto doubted = std::count_if(picture.launches.begin(), picture.launches.end(), isDoubted);
    const std::string drawn = std::to_string(picture.launches.size());
    const bool isPart = picture.launches.size() < picture.launchesInAll;
    const std::string launches =
        isPart ? "the last " + drawn + " of " + std::to_string(picture.launchesInAll) : drawn;
    return name + ", " + launches + " launches, " + std::to_string(settled) + " settled" +
           (doubted > 0 ? ", " + std::to_string(doubted) + " of them doubted" : "");
}

std::int64_t lastMsOf(const Picture& picture) {
    std::size_t samples = 1;
    for (const DumpedLaunch* const launch : picture.launches) {
        for (const Metric metric : picture.metrics)
            samples = std::max(samples, launch->series[metric].size());
    }
    return timeMs(static_cast<std::int64_t>(samples));
}

void writeData(std::ostream& out, const Picture& picture) {
    for (std::size_t i = 0; i < picture.launches.size(); ++i) {
        for (const Metric metric : picture.metrics) {
            out << dataName(i, metric) << " << EOD\n";
            std::int64_t index = 0;
            for (const std::int32_t value : picture.launches[i]->series[metric])
                out << timeMs(index++) << ' ' << value << '\n';
            out << "EOD\n";
        }
    }
}

void writeTerminal(std::ostream& out, const Picture& picture) {
    const auto panels = static_cast<int>(picture.metrics.size());
    const int heightPx = kTitlePx + kPanelPx * panels;
    const char* const background = " background '#ffffff'\n";
    out << "set encoding utf8\nset terminal ";
    switch (picture.format) {
        case PictureFormat::kSvg:
            out << "svg noenhanced size " << kWidthPx << ',' << heightPx << " font 'sans-serif,14'"
                << background;
            break;
        case PictureFormat::kPng:
            out << "pngcairo noenhanced size " << kWidthPx << ',' << heightPx << " font 'sans,11'"
                << background;
            break;
        case PictureFormat::kText:
            out << "dumb noenhanced mono size " << picture.columns << ','
                << std::max(picture.rows, kPanelRows * panels) << '\n';
            break;
    }
}

void writeFrame(std::ostream& out, const Picture& picture) {
    const bool isText = picture.format == PictureFormat::kText;
    out << "set multiplot layout " << picture.metrics.size() << ",1 title "
        << quoted(titleOf(picture)) << " noenhanced"
        << (isText ? "" : " font ',15' scale 1,0.96 offset 0,-0.01") << '\n'
        << "set border 3\nset tics nomirror out\nset format '%.0f'\nset lmargin "
        << (isText ? 9 : 12) << '\n'
        << "set xrange [0:" << lastMsOf(picture) << "]\n"
        << "set style textbox opaque noborder fillcolor '#ffffff' margins 0.5,0.5\n"
        << "set key noenhanced outside " << (isText ? "below" : "above")
        << " left horizontal Left reverse\n";
    if (!isText) out << "set rmargin 4\nset grid ytics linetype 1 linecolor '#e5e5e5'\n";
}

std::string panelOf(const Picture& picture, Metric metric) {
    const std::int64_t lastMs = lastMsOf(picture);
    if (!isOverlay(picture)) {
        return launchPanel(*picture.launches.front(), metric, picture.format, lastMs);
    }
    const bool isFirst = metric == picture.metrics.front();
    return overlayPanel(picture.launches, metric, picture.format, lastMs, isFirst);
}

void writePanel(std::ostream& out, const Picture& picture, Metric metric) {
    const bool isText = picture.format == PictureFormat::kText;
    const bool isLast = metric == picture.metrics.back();
    const std::string xTitle = isLast || isText ? kTimeTitle : "";
    out << "unset arrow\nunset label\n"
        << "set ylabel " << quoted(axisTitle(metric)) << " noenhanced\n"
        << "set xlabel " << quoted(isText ? axisTitle(metric) + " over " + xTitle : xTitle)
        << " noenhanced\n"
        << panelOf(picture, metric);
}

}  // namespace

std::vector<Metric> metricsWithSamples(const std::vector<const DumpedLaunch*>& launches) {
    std::vector<Metric> metrics;
    for (const Metric metric : kMetrics) {
        const bool hasSamples = std::any_of(
            launches.begin(), launches.end(),
            [&](const DumpedLaunch* launch) { return !launch->series[metric].empty(); });
        if (hasSamples) metrics.push_back(metric);
    }
    return metrics;
}

std::string plotScript(const Picture& picture) {
    std::ostringstream out;
    writeData(out, picture);
    writeTerminal(out, picture);
    writeFrame(out, picture);
    for (const Metric metric : picture.metrics)
        writePanel(out, picture, metric);
    out << "unset multiplot\n";
    return out.str();
}

}  // namespace host
