// The panel of a comparison that shows memory over the time since the start.
#include "host/compare/memory_panel.h"

#include <algorithm>
#include <sstream>

#include "host/compare/comparison_warnings.h"
#include "host/compare/median_series.h"

namespace host {
namespace {

constexpr double kRoomAbove = 1.1;  // of the largest value

std::string arrowAt(double timeMs, const SideStyle& side) {
    std::ostringstream out;
    out.precision(kDigits);
    out << "set arrow from first " << timeMs << ",graph 0 to first " << timeMs
        << ",graph 1 nohead front linewidth 1.5 dashtype 3 linecolor '" << side.colour << "'\n";
    return out.str();
}

void addSeries(PlotList& plots, const SideStyle& side, const std::vector<SeriesPoint>& points,
               const Unit& unit, const std::string& title) {
    if (points.empty()) return;
    const std::string name = std::string("$") + side.name + "_memory";
    std::ostringstream out;
    out.precision(kDigits);
    out << name << " << EOD\n";
    for (const SeriesPoint& point : points)
        out << point.sinceStartMs << ' ' << unit.of(point.memoryKb) << '\n';
    plots.addCommands(out.str() + "EOD\n");
    plots.addPlot(name,
                  "lines linewidth 2 dashtype " + std::to_string(side.dash) + " linecolor '" +
                      side.colour + '\'',
                  side.letter, title);
}

}  // namespace

std::optional<Panel> memoryPanel(const Comparison& comparison, const ComparisonPicture& picture) {
    const std::vector<SeriesPoint> older = medianMemory(*comparison.older.measurement);
    const std::vector<SeriesPoint> newer = medianMemory(*comparison.newer.measurement);
    if (older.empty() && newer.empty()) return std::nullopt;
    double largestKb = 1;
    double endMs = kSamplePeriodMs;
    for (const std::vector<SeriesPoint>* const points : {&older, &newer}) {
        for (const SeriesPoint& point : *points)
            largestKb = std::max(largestKb, point.memoryKb);
        if (!points->empty()) endMs = std::max(endMs, points->back().sinceStartMs);
    }
    const Unit unit = unitOf(Metric::kVmRss, largestKb);
    const std::string title = quoted("median " + axisTitle(Metric::kVmRss, unit)) + " noenhanced\n";
    const bool isText = picture.isText();
    PlotList plots(isText);
    std::ostringstream out;
    out.precision(kDigits);
    out << "set xrange [0:" << endMs << "]\nset xtics " << niceStep(endMs, picture.mostTics())
        << "\nset yrange [0:" << unit.of(largestKb) * kRoomAbove
        << "]\nset ytics autofreq\nset xlabel 'ms since the program''s start' noenhanced\n"
        << (isText ? "set label " + quoted("median " + axisTitle(Metric::kVmRss, unit)) +
                         " at character 0,graph 1 offset 0,1 noenhanced\n"
                   : "set ylabel " + title + "set grid ytics linetype 1 linecolor '#e5e5e5'\n");
    if (!isText) {
        out << arrowAt(*comparison.older.medianMs, kOld)
            << arrowAt(*comparison.newer.medianMs, kNew);
    }
    plots.addCommands(out.str());
    const std::string more =
        isText ? "" : std::string(", dotted: the median ") + timeName(comparison.older.by);
    addSeries(plots, kOld, older, unit, kOld.name + more);
    addSeries(plots, kNew, newer, unit, kNew.name + more);
    return plots.build();
}

}  // namespace host
