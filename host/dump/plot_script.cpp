// The gnuplot script that draws recorded launches.
#include "host/dump/plot_script.h"

#include <algorithm>
#include <sstream>

#include "host/base/printable.h"
#include "host/dump/caption.h"
#include "host/dump/dump_verdict.h"
#include "host/dump/explanation.h"
#include "host/dump/launch_panel.h"
#include "host/dump/overlay_panel.h"
#include "host/dump/recorded_probe.h"

namespace host {
namespace {

// Heights of a picture's parts, in pixels or rows.
struct Heights {
    int titleLine;
    int panel;
    int strip;
    int keyLine;  // of an overlay's key, which has a line a launch
    int timeTitle;
};
constexpr Heights kPixels{22, 330, 120, 22, 40};
constexpr Heights kRows{0, 15, 7, 0, 2};

constexpr std::size_t kTitleColumns = 80;  // of a picture, that fit into its width
constexpr std::size_t kKeyLinesInPanel = 3;

bool isOverlay(const Picture& picture) {
    return picture.launches.size() > 1;
}

bool isText(const Picture& picture) {
    return picture.format == PictureFormat::kText;
}

bool isDoubted(const DumpedLaunch* launch) {
    return launch->finalIndex() && assessmentOf(*launch, judge(*launch)).isDoubted();
}

std::string overlayTitle(const Picture& picture) {
    const auto settled =
        std::count_if(picture.launches.begin(), picture.launches.end(),
                      [](const DumpedLaunch* launch) { return launch->finalIndex().has_value(); });
    const auto doubted = std::count_if(picture.launches.begin(), picture.launches.end(), isDoubted);
    const std::string drawn = std::to_string(picture.launches.size());
    const bool isPart = picture.launches.size() < picture.launchesInAll;
    const std::string launches =
        isPart ? "the last " + drawn + " of " + std::to_string(picture.launchesInAll) : drawn;
    return launches + " launches, " + std::to_string(settled) + " settled" +
           (doubted > 0 ? ", " + std::to_string(doubted) + " of them doubted" : "");
}

// The package, and what became of its launches.
std::pair<std::string, std::string> titlesOf(const Picture& picture) {
    const std::string name = printable(picture.package);
    if (isOverlay(picture)) return {name, overlayTitle(picture)};
    const DumpedLaunch& launch = *picture.launches.front();
    if (const auto sight = sightOf(launch)) return {name + ", probing launch", textOf(*sight)};
    return {name + ", launch " + std::to_string(launch.number), verdictText(launch)};
}

bool hasDecided(const DumpedLaunch& launch, Metric metric) {
    const std::vector<Metric> setBy = explain(launch).setBy;
    return std::find(setBy.begin(), setBy.end(), metric) != setBy.end();
}

// Beside memory the other metrics seldom show anything, unless they decided.
bool isStrip(const Picture& picture, Metric metric) {
    if (metric == picture.metrics.front()) return false;
    return std::none_of(picture.launches.begin(), picture.launches.end(),
                        [&](const DumpedLaunch* launch) { return hasDecided(*launch, metric); });
}

const Heights& heightsOf(const Picture& picture) {
    return isText(picture) ? kRows : kPixels;
}

int panelHeight(const Picture& picture, Metric metric) {
    const Heights& heights = heightsOf(picture);
    int height = isStrip(picture, metric) ? heights.strip : heights.panel;
    if (metric == picture.metrics.back()) height += heights.timeTitle;
    if (metric == picture.metrics.front() && isOverlay(picture)) {
        const std::size_t lines = alikeAmong(picture.launches).size();
        height += heights.keyLine * static_cast<int>(lines - std::min(lines, kKeyLinesInPanel));
    }
    return height;
}

// Of a picture: it ends in a newline, as each of its lines.
std::string titleOf(const Picture& picture) {
    const auto [name, outcome] = titlesOf(picture);
    return wrapped(name, kTitleColumns, 0) + wrapped(outcome, kTitleColumns, 0);
}

int titleHeight(const Picture& picture) {
    const std::string title = titleOf(picture) + '\n';  // a line of room
    return heightsOf(picture).titleLine *
           static_cast<int>(std::count(title.begin(), title.end(), '\n'));
}

int leastHeight(const Picture& picture) {
    int height = titleHeight(picture);
    for (const Metric metric : picture.metrics)
        height += panelHeight(picture, metric);
    return height;
}

class ScriptWriter {
public:
    explicit ScriptWriter(const Picture& picture)
        : mPicture(picture), mAxes(picture.launches), mHeight(leastHeight(picture)) {
        mOut.precision(kDigits);
    }

    PlotScript write() {
        writeData();
        std::string panels;
        int top = mHeight - titleHeight(mPicture);
        for (const Metric metric : mPicture.metrics) {
            const int height = panelHeight(mPicture, metric);
            top -= height;
            panels += panelOf(metric, top, height);
        }
        PlotScript result;
        if (isText(mPicture)) addCaptions(result);
        mOut << terminalCommands(mPicture.format, isText(mPicture) ? mPicture.columns : kWidthPx,
                                 mHeight, mPicture.isAscii);
        writeFrame();
        result.script = mOut.str() + panels + "unset multiplot\n";
        return result;
    }

private:
    void writeData() {
        for (std::size_t i = 0; i < mPicture.launches.size(); ++i) {
            for (const Metric metric : mPicture.metrics) {
                mOut << dataName(i, metric) << " << EOD\n";
                const DumpedLaunch& launch = *mPicture.launches[i];
                std::size_t index = 0;
                for (const std::int32_t value : launch.series[metric]) {
                    mOut << mAxes.time.at(launch, index++) << ' ' << mAxes.units[metric].of(value)
                         << '\n';
                }
                mOut << "EOD\n";
            }
        }
    }

    void writeFrame() {
        const bool asText = isText(mPicture);
        const int room = asText ? mPicture.columns - kColumnsBeside : kWidthPx;
        const double end = mAxes.time.unit().of(mAxes.time.endMs());
        mOut << "set multiplot";
        if (!asText)
            mOut << " title " << quotedLines(titleOf(mPicture)) << " noenhanced font ',13'";
        mOut << "\nset border 3\nset tics nomirror out\nset format y '%g'\nset lmargin "
             << (asText ? 8 : 12) << "\nset xrange [0:" << end << "]\nset xtics "
             << niceStep(end, room / (asText ? kColumnsPerTic : kPixelsPerTic)) << '\n';
        if (asText) {
            mOut << "unset key\nset rmargin 2\nset tmargin 2\n";
            return;
        }
        mOut << "set key noenhanced outside above left horizontal Left reverse\nset rmargin 4\n"
             << "set grid ytics linetype 1 linecolor '#e5e5e5'\n";
    }

    std::string panelOf(Metric metric, int bottom, int height) {
        const bool isLast = metric == mPicture.metrics.back();
        const bool isFirst = metric == mPicture.metrics.front();
        const bool asText = isText(mPicture);
        const Surface surface{mPicture.format, mPicture.columns, isStrip(mPicture, metric),
                              isFirst};
        const Panel panel = isOverlay(mPicture)
                                ? overlayPanel(mPicture.launches, metric, mAxes, surface)
                                : launchPanel(*mPicture.launches.front(), metric, mAxes, surface);
        mKey.insert(mKey.end(), panel.key.begin(), panel.key.end());
        const std::string title = quoted(axisTitle(metric, mAxes.units[metric]));
        std::ostringstream out;
        out << "unset arrow\nunset label\nunset object\nset origin 0,"
            << static_cast<double>(bottom) / mHeight << "\nset size 1,"
            << static_cast<double>(height) / mHeight << "\nset format x '" << (isLast ? "%g" : "")
            << "'\nset xlabel " << quoted(isLast ? mAxes.time.title() : "") << " noenhanced\n";
        if (asText) {
            out << "set label " << title << " at character 0,graph 1 offset 0,1 noenhanced\n"
                << "set bmargin " << (isLast ? 3 : 1) << '\n';
        } else {
            out << "set ylabel " << title << " noenhanced\n";
        }
        return out.str() + panel.script;
    }

    // Where the rows are there, the panels of a text grow into them.
    void addCaptions(PlotScript& result) {
        const auto columns = static_cast<std::size_t>(mPicture.columns);
        const auto [name, outcome] = titlesOf(mPicture);
        result.above = wrapped(name + ": " + outcome, columns, 2);
        result.below = keyText(mKey, columns);
        const std::string captions = result.above + result.below;
        const auto lines = static_cast<int>(std::count(captions.begin(), captions.end(), '\n'));
        mHeight = std::max(mHeight, mPicture.rows - lines);
    }

    const Picture& mPicture;
    const Axes mAxes;
    int mHeight;
    std::vector<std::string> mKey;
    std::ostringstream mOut;
};

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

PlotScript plotScript(const Picture& picture) {
    PlotScript result = ScriptWriter(picture).write();
    if (!picture.isAscii) return result;
    return {inAscii(result.script), inAscii(result.above), inAscii(result.below)};
}

}  // namespace host
