// The gnuplot script that draws two measurements over each other.
#include "host/compare/comparison_picture.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "host/base/printable.h"
#include "host/compare/comparison_report.h"
#include "host/compare/median_series.h"
#include "host/dump/caption.h"

namespace host {
namespace {

/// Heights of a picture's parts, in pixels or rows.
struct Heights {
    int titleLine;
    int dots;
    int memory;
};
constexpr Heights kPixels{22, 260, 370};
constexpr Heights kRows{0, 16, 16};

constexpr int kPixelsPerDot = 10;
constexpr int kMostStacked = 8;        // dots on each other; of a text
constexpr int kMostStackedInRows = 3;
constexpr double kRoomMs = 15;         // at the ends of the axis: half a sampling period
constexpr double kRoom = 0.04;         // of it
constexpr std::size_t kTitleColumns = 100;  // of a picture, that fit into its width

/// How one of the two is drawn.
struct Look {
    const char* which;
    const char* colour;
    int dash;
    int mark;  // filled; the one before is hollow
    char letter;
    double bottom;  // of its dots, above which there is room for 1
};
constexpr Look kOld{"old", kBlue, 1, 7, 'o', 1.5};
constexpr Look kNew{"new", kVermilion, 2, 9, 'n', 0.1};
constexpr double kDotsHeight = 1.0;
constexpr double kTop = 2.7;
constexpr double kIntervalBelow = 0.2;  // the dots

class ScriptWriter {
public:
    ScriptWriter(const Comparison& comparison, const ComparisonPicture& picture)
        : mComparison(comparison),
          mPicture(picture),
          mIsText(picture.format == PictureFormat::kText),
          mHeights(mIsText ? kRows : kPixels),
          mOldMemory(medianMemory(*comparison.older.measurement)),
          mNewMemory(medianMemory(*comparison.newer.measurement)) {
        mOut.precision(kDigits);
        mPlots.precision(kDigits);
    }

    PlotScript write() {
        setTimes();
        const std::string title = titleText();
        const auto titleLines = static_cast<int>(std::count(title.begin(), title.end(), '\n')) + 1;
        const bool hasMemory = !mOldMemory.empty() || !mNewMemory.empty();
        const int memory = hasMemory ? mHeights.memory : 0;
        const int height = titleLines * mHeights.titleLine + mHeights.dots + memory;
        mOut << terminalCommands(mPicture.format, mIsText ? mPicture.columns : kWidthPx, height,
                                 mPicture.isAscii)
             << "set multiplot" << (mIsText ? "" : " title " + quotedLines(title) + " noenhanced font ',13'")
             << "\nset border 3\nset tics nomirror out\nset format '%g'\nset lmargin "
             << (mIsText ? 8 : 12) << '\n'
             << (mIsText ? "unset key\nset rmargin 2\nset tmargin 2\nset bmargin 3\n"
                         : "set key noenhanced outside above left horizontal Left reverse\n"
                           "set rmargin 4\n");
        place(memory, mHeights.dots, height);
        writeDots();
        if (hasMemory) {
            place(0, memory, height);
            writeMemory();
        }
        mOut << "unset multiplot\n";
        return {mOut.str(), mIsText ? wrapped(title, columns(), 2) : "", keyText()};
    }

private:
    std::size_t columns() const { return static_cast<std::size_t>(mPicture.columns); }

    std::string titleText() const {
        const std::string name = printable(mComparison.newer.measurement->name);
        if (mIsText) return name + ": " + findingText(mComparison);
        return wrapped(name, kTitleColumns, 0) + wrapped(findingText(mComparison), kTitleColumns, 0);
    }

    void place(int bottom, int height, int all) {
        mOut << "unset arrow\nunset label\nset origin 0," << static_cast<double>(bottom) / all
             << "\nset size 1," << static_cast<double>(height) / all << '\n';
    }

    // --- The dots.

    void setTimes() {
        std::vector<double> times = mComparison.older.settledMs;
        times.insert(times.end(), mComparison.newer.settledMs.begin(),
                     mComparison.newer.settledMs.end());
        const auto [low, high] = std::minmax_element(times.begin(), times.end());
        const double room = kRoomMs + kRoom * (*high - *low);
        mLowMs = *low - room;
        mHighMs = *high + room;
        const int dots = mIsText ? mPicture.columns - kColumnsBeside : kWidthPx / kPixelsPerDot;
        mDotMs = (mHighMs - mLowMs) / std::max(1, dots);
        std::size_t most = 1;
        for (const Look* const look : {&kOld, &kNew}) {
            for (const auto& [bin, launches] : binsOf(summaryOf(*look)))
                most = std::max(most, launches.size());
        }
        const std::size_t stacked = mIsText ? kMostStackedInRows : kMostStacked;
        mLaunchesPerDot = (most + stacked - 1) / stacked;
    }

    const MeasurementSummary& summaryOf(const Look& look) const {
        return &look == &kOld ? mComparison.older : mComparison.newer;
    }

    /// By their places on the axis whether the launches there are doubted, those last.
    std::map<int, std::vector<bool>> binsOf(const MeasurementSummary& summary) const {
        std::map<int, std::vector<bool>> bins;
        for (const MeasuredLaunch& launch : summary.measurement->launches) {
            if (!launch.settledMs()) continue;
            const double place = (*launch.settledMs() - mLowMs) / mDotMs;
            bins[static_cast<int>(place)].push_back(launch.isDoubted());
        }
        for (auto& [bin, doubted] : bins)
            std::sort(doubted.begin(), doubted.end());
        return bins;
    }

    void writeDots() {
        mOut << "set xrange [" << mLowMs << ':' << mHighMs << "]\nset yrange [0:" << kTop
             << "]\nset ytics ('old' " << kOld.bottom + kDotsHeight / 2 << ", 'new' "
             << kNew.bottom + kDotsHeight / 2 << ")\nset xtics "
             << niceStep(mHighMs - mLowMs, ticsAcross())
             << "\nset xlabel 'ms since the program''s start, to the endpoint' noenhanced\n"
             << "unset ylabel\n";
        for (const Look* const look : {&kOld, &kNew}) {
            addDots(*look, false);
            addDots(*look, true);
            addMedian(*look);
        }
        plotAll();
    }

    int ticsAcross() const {
        return mIsText ? (mPicture.columns - kColumnsBeside) / kColumnsPerTic
                       : kWidthPx / kPixelsPerTic;
    }

    void addDots(const Look& look, bool doubted) {
        std::ostringstream data;
        data.precision(kDigits);
        const double step = kDotsHeight / (mIsText ? kMostStackedInRows : kMostStacked);
        for (const auto& [bin, launches] : binsOf(summaryOf(look))) {
            for (std::size_t i = 0; i < launches.size(); i += mLaunchesPerDot) {
                if (launches[i] != doubted) continue;
                data << mLowMs + (bin + 0.5) * mDotMs << ' '
                     << look.bottom + step * (0.5 + static_cast<double>(i / mLaunchesPerDot))
                     << '\n';
            }
        }
        const std::string title = std::string(look.which) + (doubted ? ", doubted" : "") +
                                  (mLaunchesPerDot == 1
                                       ? ""
                                       : ", up to " + std::to_string(mLaunchesPerDot) +
                                             " launches a dot");
        addPlot(std::string("$") + look.which + (doubted ? "_doubted" : "_dots"), data.str(), "",
                "points pointtype " + std::to_string(look.mark - (doubted ? 1 : 0)) +
                    " pointsize 0.9 linecolor '" + look.colour + '\'',
                doubted ? '?' : look.letter, title);
    }

    void addMedian(const Look& look) {
        const MeasurementSummary& summary = summaryOf(look);
        const double y = look.bottom - kIntervalBelow / 2;
        const std::string style = std::string("vectors nohead linewidth 3 linecolor '") + look.colour + '\'';
        std::ostringstream data;
        data.precision(kDigits);
        if (summary.medianIntervalMs) {
            const Interval& interval = *summary.medianIntervalMs;
            const double step = mIsText ? mDotMs : std::max(interval.width(), mDotMs / 100);
            for (double at = interval.low; at < interval.high; at += step)
                data << at << ' ' << y << ' ' << std::min(step, interval.high - at) << " 0\n";
            addPlot(std::string("$") + look.which + "_interval", data.str(), "", style, '=',
                    mIsText ? "where the median lies, with 95 % confidence" : "");
        }
        data.str("");
        data << *summary.medianMs << ' ' << y - (mIsText ? 0 : kIntervalBelow / 2) << " 0 "
             << kIntervalBelow << '\n';
        addPlot(std::string("$") + look.which + "_median", data.str(), "", style, 'M',
                mIsText ? "median" : std::string(look.which) + " median, with its 95 % interval");
    }

    // --- Memory.

    void writeMemory() {
        double largestKb = 0;
        double endMs = kSamplePeriodMs;
        for (const std::vector<SeriesPoint>* const points : {&mOldMemory, &mNewMemory}) {
            for (const SeriesPoint& point : *points)
                largestKb = std::max(largestKb, point.memoryKb);
            if (!points->empty()) endMs = std::max(endMs, points->back().sinceStartMs);
        }
        const Unit unit = unitOf(Metric::kVmRss, largestKb);
        const std::string title = quoted("median " + axisTitle(Metric::kVmRss, unit));
        mOut << "set xrange [0:" << endMs << "]\nset xtics " << niceStep(endMs, ticsAcross())
             << "\nset yrange [0:" << unit.of(std::max(largestKb, 1.0)) * 1.1
             << "]\nset ytics autofreq\nset xlabel 'ms since the program''s start' noenhanced\n";
        if (mIsText) {
            mOut << "set label " << title << " at character 0,graph 1 offset 0,1 noenhanced\n";
        } else {
            mOut << "set ylabel " << title << " noenhanced\n"
                 << "set grid ytics linetype 1 linecolor '#e5e5e5'\n";
        }
        addMemory(kOld, mOldMemory, unit);
        addMemory(kNew, mNewMemory, unit);
        plotAll();
    }

    void addMemory(const Look& look, const std::vector<SeriesPoint>& points, const Unit& unit) {
        std::ostringstream data;
        data.precision(kDigits);
        for (const SeriesPoint& point : points)
            data << point.sinceStartMs << ' ' << unit.of(point.memoryKb) << '\n';
        if (!mIsText) {
            mOut << "set arrow from first " << *summaryOf(look).medianMs
                 << ",graph 0 to first " << *summaryOf(look).medianMs
                 << ",graph 1 nohead front linewidth 1.5 dashtype 3 linecolor '" << look.colour
                 << "'\n";
        }
        addPlot(std::string("$") + look.which + "_memory", data.str(), "",
                "lines linewidth 2 dashtype " + std::to_string(look.dash) + " linecolor '" +
                    look.colour + '\'',
                look.letter, std::string(look.which) + (mIsText ? "" : ", with the median endpoint"));
    }

    // --- Both.

    /// Of no data there is nothing to plot.
    void addPlot(const std::string& name, const std::string& data, const std::string& usingColumns,
                 const std::string& style, char letter, const std::string& title) {
        if (data.empty()) return;
        mOut << name << " << EOD\n" << data << "EOD\n";
        mPlots << (mPlots.str().empty() ? "plot " : ", \\\n  ") << name << usingColumns << " with ";
        if (mIsText) {
            mPlots << "points pointtype '" << letter << "' notitle";
            const std::string line = std::string(1, letter) + "  " + title;
            if (std::find(mKey.begin(), mKey.end(), line) == mKey.end()) mKey.push_back(line);
        } else {
            mPlots << style << (title.empty() ? " notitle" : " title " + quoted(title));
        }
    }

    void plotAll() {
        mOut << mPlots.str() << '\n';
        mPlots.str("");
    }

    std::string keyText() const {
        std::string text;
        if (!mIsText) return text;
        for (const std::string& line : mKey)
            text += wrapped(line, columns(), 3);
        return text;
    }

    const Comparison& mComparison;
    const ComparisonPicture& mPicture;
    const bool mIsText;
    const Heights mHeights;
    const std::vector<SeriesPoint> mOldMemory;
    const std::vector<SeriesPoint> mNewMemory;
    double mLowMs = 0;
    double mHighMs = 0;
    double mDotMs = 0;  // the width of a dot
    std::size_t mLaunchesPerDot = 1;
    std::vector<std::string> mKey;
    std::ostringstream mPlots;  // of the panel at work
    std::ostringstream mOut;
};

}  // namespace

PlotScript comparisonScript(const Comparison& comparison, const ComparisonPicture& picture) {
    PlotScript result = ScriptWriter(comparison, picture).write();
    if (!picture.isAscii) return result;
    return {inAscii(result.script), inAscii(result.above), inAscii(result.below)};
}

}  // namespace host
