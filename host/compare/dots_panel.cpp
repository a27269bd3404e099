// The panel of a comparison that shows each launch's time.
#include "host/compare/dots_panel.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "host/compare/comparison_warnings.h"

namespace host {
namespace {

constexpr int kPixelsPerDot = 10;
constexpr double kHeight = 10;     // in which a text's rows are whole numbers
constexpr double kDotsHeight = 3;  // of those of one side
constexpr std::size_t kMostStacked = 8;
constexpr std::size_t kMostStackedInRows = 3;
constexpr double kRoomMs = 15;  // at the ends of the axis: half a sampling period
constexpr double kRoomShare = 0.04;
constexpr double kTickHeight = 0.8;  // of a median
constexpr double kNarrowest = 0.1;   // interval that can be seen, of a dot

class DotsPanel {
public:
    DotsPanel(const Comparison& comparison, const ComparisonPicture& picture)
        : mComparison(comparison), mPicture(picture), mPlots(picture.isText()) {
        setRange();
        setStacks();
    }

    Panel build() {
        addAxes();
        for (const SideStyle* const side : {&kOld, &kNew}) {
            addInterval(*side);
            addMedian(*side);
            addDots(*side, false);
            addDots(*side, true);
        }
        return mPlots.build();
    }

private:
    // Launches of about the same time.
    struct Stack {
        std::vector<bool> doubted;  // the doubted ones last
        double sumMs = 0;

        double meanMs() const { return sumMs / static_cast<double>(doubted.size()); }
    };
    using Stacks = std::map<long, Stack>;

    void setRange() {
        std::vector<double> times = mComparison.older.settledMs;
        times.insert(times.end(), mComparison.newer.settledMs.begin(),
                     mComparison.newer.settledMs.end());
        const auto [low, high] = std::minmax_element(times.begin(), times.end());
        const double room = kRoomMs + kRoomShare * (*high - *low);
        mLowMs = *low - room;
        mHighMs = *high + room;
        const int places =
            mPicture.isText() ? mPicture.columns - kColumnsBeside : kWidthPx / kPixelsPerDot;
        mDotMs = (mHighMs - mLowMs) / std::max(1, places);
    }

    void setStacks() {
        std::size_t highest = 1;
        for (const SideStyle* const side : {&kOld, &kNew}) {
            for (const auto& [place, stack] : stacksOf(*side))
                highest = std::max(highest, stack.doubted.size());
        }
        mStacked = mPicture.isText() ? kMostStackedInRows : kMostStacked;
        mLaunchesPerDot = (highest + mStacked - 1) / mStacked;
    }

    const MeasurementSummary& summaryOf(const SideStyle& side) const {
        return &side == &kOld ? mComparison.older : mComparison.newer;
    }

    Stacks stacksOf(const SideStyle& side) const {
        Stacks stacks;
        for (const MeasuredLaunch& launch : summaryOf(side).measurement->launches) {
            const std::optional<std::int32_t> atMs = launch.timeMs(summaryOf(side).by);
            if (!atMs) continue;
            const double timeMs = *atMs;
            Stack& stack = stacks[std::lround((timeMs - mLowMs) / mDotMs)];
            stack.doubted.push_back(launch.isDoubted());
            stack.sumMs += timeMs;
        }
        for (auto& [place, stack] : stacks)
            std::sort(stack.doubted.begin(), stack.doubted.end());
        return stacks;
    }

    void addAxes() {
        const std::string several = "up to " + std::to_string(mLaunchesPerDot) + " launches a mark";
        const bool isInLabel = mLaunchesPerDot > 1 && !mPicture.isText();
        if (mLaunchesPerDot > 1) mPlots.addKey(' ', several);
        std::ostringstream out;
        out.precision(kDigits);
        out << "set xrange [" << mLowMs << ':' << mHighMs << "]\nset yrange [0:" << kHeight
            << "]\nset ytics ('old' " << kOld.interval + 1 << ", 'new' " << kNew.interval + 1
            << ")\nset xtics " << niceStep(mHighMs - mLowMs, mPicture.mostTics())
            << "\nset xlabel 'ms from start to " << timeName(mComparison.older.by)
            << (isInLabel ? " (" + several + ')' : "") << "' noenhanced\n";
        mPlots.addCommands(out.str());
    }

    void addData(const SideStyle& side, const std::string& what, const std::string& data,
                 const std::string& style, char letter, const std::string& title) {
        if (data.empty()) return;  // of which gnuplot would plot nothing at all
        const std::string name = '$' + std::string(side.name) + '_' + what;
        mPlots.addCommands(name + " << EOD\n" + data + "EOD\n");
        mPlots.addPlot(name, style + " linecolor '" + side.colour + '\'', letter, title);
    }

    void addDots(const SideStyle& side, bool doubted) {
        std::ostringstream data;
        data.precision(kDigits);
        const double step = kDotsHeight / static_cast<double>(mStacked);
        for (const auto& [place, stack] : stacksOf(side)) {
            for (std::size_t i = 0; i < stack.doubted.size(); i += mLaunchesPerDot) {
                const std::size_t last = std::min(i + mLaunchesPerDot, stack.doubted.size()) - 1;
                if (stack.doubted[last] != doubted) continue;
                const std::size_t level = i / mLaunchesPerDot;
                data << stack.meanMs() << ' '
                     << side.interval + 1 + step * static_cast<double>(level) << '\n';
            }
        }
        const std::string name = side.name;
        const std::string title = !doubted            ? name
                                  : mPicture.isText() ? "doubted"
                                                      : name + ", doubted";
        addData(side, doubted ? "doubted" : "dots", data.str(),
                "points pointsize 0.9 pointtype " + std::to_string(side.mark - (doubted ? 1 : 0)),
                doubted ? '?' : side.letter, title);
    }

    void addInterval(const SideStyle& side) {
        const std::optional<Interval>& interval = summaryOf(side).medianIntervalMs;
        if (!interval) return;
        std::ostringstream data;
        data.precision(kDigits);
        // In a text, one mark per column.
        const double widthMs = std::max(interval->width(), kNarrowest * mDotMs);
        const double stepMs = mPicture.isText() ? mDotMs : widthMs;
        const auto steps = static_cast<int>(std::ceil(widthMs / stepMs));
        for (int i = 0; i < steps; ++i)
            data << interval->low + i * stepMs << ' ' << side.interval << ' ' << stepMs << " 0\n";
        addData(side, "interval", data.str(), "vectors nohead linewidth 3", '=',
                mPicture.isText() ? "where the median lies, with 95 % confidence" : "");
    }

    void addMedian(const SideStyle& side) {
        std::ostringstream data;
        data.precision(kDigits);
        data << *summaryOf(side).medianMs << ' '
             << side.interval - (mPicture.isText() ? 0 : kTickHeight / 2) << " 0 " << kTickHeight
             << '\n';
        addData(side, "median", data.str(), "vectors nohead linewidth 3", 'M',
                mPicture.isText() ? "median"
                                  : std::string(side.name) + " median, with its 95 % interval");
    }

    const Comparison& mComparison;
    const ComparisonPicture& mPicture;
    PlotList mPlots;
    double mLowMs = 0;
    double mHighMs = 0;
    double mDotMs = 0;  // the width of a dot
    std::size_t mStacked = 1;
    std::size_t mLaunchesPerDot = 1;
};

}  // namespace

Panel dotsPanel(const Comparison& comparison, const ComparisonPicture& picture) {
    return DotsPanel(comparison, picture).build();
}

}  // namespace host
