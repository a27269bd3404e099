// Several launches' panel of one metric, laid over each other.
#include "host/dump/overlay_panel.h"

#include <cmath>
#include <sstream>

#include "host/dump/dump_verdict.h"
#include "host/state/spread.h"

namespace host {
namespace {

constexpr double kRoomAbove = 0.25;
constexpr std::size_t kMarksPerLine = 12;

struct Look {
    const char* colour;
    int dash;
    int mark;
    char letter;  // in a text
};
constexpr Look kLooks[] = {
    {kBlue, 1, 6, 'A'},    {kVermilion, 2, 4, 'B'}, {kGreen, 3, 8, 'C'}, {kPurple, 4, 12, 'D'},
    {kOrange, 5, 10, 'E'}, {kSkyBlue, 1, 2, 'F'},   {kBlack, 2, 1, 'G'},
};
constexpr std::size_t kLookCount = std::size(kLooks);

class OverlayPanel {
public:
    OverlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric,
                 PictureFormat format, std::int64_t lastMs, bool hasKey)
        : mLaunches(launches),
          mMetric(metric),
          mHasKey(hasKey),
          mIsText(format == PictureFormat::kText),
          mLastMs(lastMs),
          mFaintCount(launches.size() > kLookCount ? launches.size() - kLookCount : 0) {}

    std::string write() {
        writeRange();
        writeMedian();
        for (std::size_t i = 0; i < mLaunches.size(); ++i) {
            if (!mLaunches[i]->series[mMetric].empty()) addLaunch(i);
        }
        if (mHasKey) addEndpointKey();
        mOut << plotCommand(mPlots);
        return mOut.str();
    }

private:
    void writeRange() {
        std::vector<double> values;
        for (const DumpedLaunch* const launch : mLaunches)
            values.insert(values.end(), launch->series[mMetric].begin(),
                          launch->series[mMetric].end());
        mOut << rangeCommands(values, kRoomAbove);
    }

    void writeMedian() {
        std::vector<double> endpointsMs;
        for (const DumpedLaunch* const launch : mLaunches) {
            if (launch->finalIndex()) {
                endpointsMs.push_back(static_cast<double>(timeMs(*launch->finalIndex())));
            }
        }
        if (endpointsMs.empty()) return;
        const auto medianMs =
            static_cast<std::int64_t>(std::lround(spreadOf(endpointsMs).medianMs));
        const std::string text = "median endpoint " + std::to_string(medianMs) + " ms";
        mOut << markCommands({{medianMs, text, kBlack, 1}}, mLastMs);
    }

    void addLaunch(std::size_t i) {
        const bool isFaint = i < mFaintCount;
        if (isFaint) {
            mPlots.push_back(dataName(i, mMetric) + faintStyle() +
                             title(i == 0 ? "older launches" : ""));
            return;
        }
        const Look& look = kLooks[i - mFaintCount];
        mPlots.push_back(dataName(i, mMetric) + style(look, *mLaunches[i]) +
                         title("launch " + std::to_string(mLaunches[i]->number) + ", " +
                               verdictText(*mLaunches[i])));
        addEndpoint(i, look);
    }

    std::string title(const std::string& text) const {
        return mHasKey && !text.empty() ? " title " + quoted(text) : " notitle";
    }

    std::string faintStyle() const {
        return mIsText ? " with points pointtype '.'"
                       : " with lines linewidth 1 linecolor '" + std::string(kGrey) + "'";
    }

    std::string style(const Look& look, const DumpedLaunch& launch) const {
        if (mIsText) return std::string(" with points pointtype '") + look.letter + "'";
        const std::size_t interval = launch.series[mMetric].size() / kMarksPerLine + 1;
        return " with linespoints linewidth 1.5 dashtype " + std::to_string(look.dash) +
               " pointtype " + std::to_string(look.mark) + " pointinterval " +
               std::to_string(interval) + " pointsize 0.7 linecolor '" + look.colour + "'";
    }

    void addEndpoint(std::size_t i, const Look& look) {
        const std::int32_t index = mLaunches[i]->finalIndex().value_or(0);
        const Series& series = mLaunches[i]->series[mMetric];
        if (index < 1 || static_cast<std::size_t>(index) >= series.size()) return;
        const std::string name = "$endpoint" + std::to_string(i);
        mOut << name << " << EOD\n"
             << timeMs(index) << ' ' << series[static_cast<std::size_t>(index)] << "\nEOD\n";
        mPlots.push_back(name + " with points " +
                         (mIsText ? std::string("pointtype '#'")
                                  : "pointtype " + std::to_string(look.mark + 1) +
                                        " pointsize 1.4 linecolor '" + look.colour + "'") +
                         " notitle");
    }

    void addEndpointKey() {
        const std::string look = mIsText ? "pointtype '#'" : "pointtype 7 pointsize 1.4";
        mPlots.push_back("NaN with points " + look + " linecolor '" + kBlack + "' title " +
                         quoted(mIsText ? "endpoint" : "large mark: endpoint"));
    }

    const std::vector<const DumpedLaunch*>& mLaunches;
    const Metric mMetric;
    const bool mHasKey;
    const bool mIsText;
    const std::int64_t mLastMs;
    const std::size_t mFaintCount;
    std::ostringstream mOut;
    std::vector<std::string> mPlots;
};

}  // namespace

std::string overlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric,
                         PictureFormat format, std::int64_t lastMs, bool hasKey) {
    return OverlayPanel(launches, metric, format, lastMs, hasKey).write();
}

}  // namespace host
