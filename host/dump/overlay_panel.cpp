// Several launches' panel of one metric, laid over each other.
#include "host/dump/overlay_panel.h"

#include <algorithm>
#include <sstream>

#include "host/dump/dump_verdict.h"
#include "host/state/spread.h"

namespace host {
namespace {

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

bool areAlike(const DumpedLaunch& one, const DumpedLaunch& other) {
    return one.series.values == other.series.values && one.finalIndex() == other.finalIndex();
}

class OverlayPanel {
public:
    OverlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric, const Axes& axes,
                 const Surface& surface)
        : mLaunches(launches),
          mAlike(alikeAmong(launches)),
          mMetric(metric),
          mAxes(axes),
          mSurface(surface),
          mBuilder(axes, metric, surface),
          mFaintCount(mAlike.size() > kLookCount ? mAlike.size() - kLookCount : 0) {}

    Panel build() {
        setRange();
        for (std::size_t i = 0; i < mAlike.size(); ++i) {
            if (!mAlike[i].newest->series[mMetric].empty()) addLaunches(i);
        }
        if (mSurface.hasKey) {
            mBuilder.addPlot(
                "NaN", std::string("points pointtype 7 pointsize 1.4 linecolor '") + kBlack + '\'',
                '#', mSurface.isText() ? "endpoint" : "large mark: endpoint");
        }
        addMedian();
        return mBuilder.build();
    }

private:
    void setRange() {
        std::vector<double> values;
        for (const DumpedLaunch* const launch : mLaunches)
            values.insert(values.end(), launch->series[mMetric].begin(),
                          launch->series[mMetric].end());
        mBuilder.setRange(values, {});
    }

    bool hasEndpoint() const {
        return std::any_of(mLaunches.begin(), mLaunches.end(), [](const DumpedLaunch* launch) {
            return launch->finalIndex().has_value();
        });
    }

    void addMedian() {
        std::vector<double> endpointsMs;
        for (const DumpedLaunch* const launch : mLaunches) {
            if (launch->finalIndex()) endpointsMs.push_back(endpointMs(*launch));
        }
        if (endpointsMs.empty()) return;
        const double medianMs = spreadOf(endpointsMs).medianMs;
        const std::string text =
            mSurface.hasKey ? "median endpoint " + TimeAxis::text(medianMs) : "";
        mBuilder.addMarks({{medianMs, text, kBlack, 1, 'M'}});
    }

    double endpointMs(const DumpedLaunch& launch) const {
        return mAxes.time.timeMs(launch, static_cast<std::size_t>(*launch.finalIndex()));
    }

    void addLaunches(std::size_t i) {
        const AlikeLaunches& alike = mAlike[i];
        const std::string data = dataName(alike.index, mMetric);
        if (i < mFaintCount) {
            mBuilder.addPlot(data, std::string("lines linewidth 1 linecolor '") + kGrey + '\'', '.',
                             i == 0 && mSurface.hasKey ? "older launches" : "");
            return;
        }
        const Look& look = kLooks[i - mFaintCount];
        mBuilder.addPlot(data, style(look, *alike.newest), look.letter,
                         mSurface.hasKey ? titleOf(alike) : "");
        addEndpoint(alike, look);
    }

    static std::string titleOf(const AlikeLaunches& alike) {
        const std::string others =
            alike.count > 1 ? ", one of " + std::to_string(alike.count) + " alike" : "";
        return "launch " + std::to_string(alike.newest->number) + others + ", " +
               verdictText(*alike.newest);
    }

    std::string style(const Look& look, const DumpedLaunch& launch) const {
        const std::size_t interval = launch.series[mMetric].size() / kMarksPerLine + 1;
        return "linespoints linewidth 1.5 dashtype " + std::to_string(look.dash) + " pointtype " +
               std::to_string(look.mark) + " pointinterval " + std::to_string(interval) +
               " pointsize 0.7 linecolor '" + look.colour + "'";
    }

    void addEndpoint(const AlikeLaunches& alike, const Look& look) {
        const std::int32_t index = alike.newest->finalIndex().value_or(0);
        const Series& series = alike.newest->series[mMetric];
        if (index < 1 || static_cast<std::size_t>(index) >= series.size()) return;
        const std::string name = "$endpoint" + std::to_string(alike.index);
        std::ostringstream out;
        out.precision(kDigits);
        out << name << " << EOD\n"
            << mAxes.time.unit().of(endpointMs(*alike.newest)) << ' '
            << mAxes.units[mMetric].of(series[static_cast<std::size_t>(index)]) << "\nEOD\n";
        mBuilder.addCommands(out.str());
        mBuilder.addPlot(name,
                         "points pointtype " + std::to_string(look.mark + 1) +
                             " pointsize 1.4 linecolor '" + look.colour + '\'',
                         '#', "");
    }

    const std::vector<const DumpedLaunch*>& mLaunches;
    const std::vector<AlikeLaunches> mAlike;
    const Metric mMetric;
    const Axes& mAxes;
    const Surface& mSurface;
    PanelBuilder mBuilder;
    const std::size_t mFaintCount;
};

}  // namespace

std::vector<AlikeLaunches> alikeAmong(const std::vector<const DumpedLaunch*>& launches) {
    std::vector<AlikeLaunches> groups;
    for (std::size_t i = 0; i < launches.size(); ++i) {
        std::size_t count = 1;
        const auto same = std::find_if(groups.begin(), groups.end(), [&](const auto& group) {
            return areAlike(*group.newest, *launches[i]);
        });
        if (same != groups.end()) {
            count += same->count;
            groups.erase(same);
        }
        groups.push_back({launches[i], i, count});
    }
    return groups;
}

Panel overlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric,
                   const Axes& axes, const Surface& surface) {
    return OverlayPanel(launches, metric, axes, surface).build();
}

}  // namespace host
