// One launch's panel of one metric.
#include "host/dump/launch_panel.h"

#include <algorithm>
#include <sstream>

#include "host/dump/dump_verdict.h"
#include "host/dump/recorded_probe.h"

namespace host {
namespace {

class LaunchPanel {
public:
    LaunchPanel(const DumpedLaunch& launch, Metric metric, const Axes& axes, const Surface& surface)
        : mLaunch(launch),
          mMetric(metric),
          mTraits(traitsOf(metric)),
          mAxes(axes),
          mUnit(axes.units[metric]),
          mSurface(surface),
          mBehind(lookAfterOf(launch, metric)),
          mBuilder(axes, metric, surface) {
        mValues.assign(launch.series[metric].begin(), launch.series[metric].end());
        mValues.insert(mValues.end(), mBehind.begin(), mBehind.end());
        mIsFlat = std::all_of(mValues.begin(), mValues.end(),
                              [&](double value) { return value == mValues.front(); });
    }

    Panel build() {
        setRange();
        if (hasResult() && !mIsFlat) addSettledValue();
        addUnseen();
        addSamples();
        if (mLaunch.evaluations.size() > 1 && !mIsFlat && !mSurface.isStrip) addEvaluations();
        addMarks();
        return mBuilder.build();
    }

private:
    bool hasResult() const { return !mLaunch.evaluations.empty(); }
    const MetricResult& lastResult() const { return mLaunch.evaluations.back().metrics[mMetric]; }

    double halfBand() const { return lastResult().settledValue * mTraits.tolerancePercent / 100.0; }

    void setRange() {
        std::vector<double> band;
        if (hasResult() && !mIsFlat && lastResult().settledValue != 0) {
            band = {lastResult().settledValue - halfBand(), lastResult().settledValue + halfBand()};
        }
        mBuilder.setRange(mValues, band);
    }

    void addSettledValue() {
        const std::int32_t settled = lastResult().settledValue;
        const std::string of = mSurface.isText() ? std::string(mTraits.name) + ": " : "";
        const std::string title = of + "settled value " + valueText(settled, mUnit) + " ± " +
                                  std::to_string(mTraits.tolerancePercent) + " %" +
                                  (lastResult().endpointIndex > 0 ? "" : ", no endpoint");
        std::ostringstream out;
        out.precision(kDigits);
        out << mUnit.of(settled);
        const std::string value = out.str();
        if (mSurface.isText()) return mBuilder.addPlot(value, "", '-', title);
        const double low = mUnit.of(settled - halfBand());
        const double high = mUnit.of(settled + halfBand());
        out.str("");
        out << "$band << EOD\n0 " << low << ' ' << high << '\n'
            << mAxes.time.unit().of(mAxes.time.endMs()) << ' ' << low << ' ' << high << "\nEOD\n";
        mBuilder.addCommands(out.str());
        mBuilder.addPlot(
            "$band",
            std::string("filledcurves fillstyle solid noborder fillcolor '") + kPaleBlue + '\'',
            '-', title);
        mBuilder.addPlot(value,
                         std::string("lines linewidth 1.5 dashtype 2 linecolor '") + kBlue + '\'',
                         '-', "");
    }

    // What nobody saw: the time from the program's start to the first sample.
    void addUnseen() {
        if (!mAxes.time.isSinceStart() || mSurface.isText()) return;
        std::ostringstream out;
        out << "set object rectangle from 0,graph 0 to " << mAxes.time.at(mLaunch, 0)
            << ",graph 1 behind fillstyle solid noborder fillcolor '" << kPaleGrey << "'\n";
        mBuilder.addCommands(out.str());
        if (!mSurface.hasKey) return;
        mBuilder.addPlot(
            "NaN", std::string("boxes fillstyle solid noborder linecolor '") + kPaleGrey + '\'',
            ' ', "before the first sample");
    }

    void addSamples() {
        const std::string name = mTraits.name;
        const std::string flat =
            mIsFlat ? ", flat from the first sample on: " + valueText(mValues.front(), mUnit) : "";
        mBuilder.addPlot(dataName(0, mMetric), style(kBlue), '*', name + flat);
        if (mBehind.empty()) return;
        std::ostringstream out;
        out.precision(kDigits);
        out << "$behind << EOD\n";
        const std::size_t seen = mLaunch.series[mMetric].size();
        for (std::size_t i = seen - std::min<std::size_t>(seen, 1); i < mValues.size(); ++i)
            out << mAxes.time.at(mLaunch, i) << ' ' << mUnit.of(mValues[i]) << '\n';
        mBuilder.addCommands(out.str() + "EOD\n");
        mBuilder.addPlot("$behind", style(kLightBlue), '.',
                         name + " seen behind the " + (isWindowWhole() ? "window" : "last sample"));
    }

    bool isWindowWhole() const { return mLaunch.note->samples >= mLaunch.note->windowSamples; }

    std::string style(const char* colour) const {
        const bool hasPoints = !mLaunch.isLong();
        return (hasPoints ? "linespoints pointtype 7 pointsize 0.5 linewidth 1.5"
                          : std::string("lines linewidth 2")) +
               " linecolor '" + colour + '\'';
    }

    // Each as a line from the endpoint that it found, if it did, up to its own
    // time, at the value that it took for settled, with its number at the end.
    void addEvaluations() {
        std::ostringstream lines;
        std::ostringstream numbers;
        lines << "$evaluations << EOD\n";
        for (const Evaluation& evaluation : mLaunch.evaluations) {
            const MetricResult& result = evaluation.metrics[mMetric];
            const double value = mUnit.of(result.settledValue);
            const std::size_t last = std::max<std::size_t>(evaluation.samples(), 1) - 1;
            const std::size_t first =
                result.endpointIndex > 0 ? static_cast<std::size_t>(result.endpointIndex) : last;
            lines << mAxes.time.at(mLaunch, first) << ' ' << value << '\n'
                  << mAxes.time.at(mLaunch, last) << ' ' << value << "\n\n";
            numbers << mAxes.time.at(mLaunch, last) << ' ' << value << ' '
                    << &evaluation - &mLaunch.evaluations.front() + 1 << '\n';
        }
        mBuilder.addCommands(lines.str() + "EOD\n$numbers << EOD\n" + numbers.str() + "EOD\n");
        mBuilder.addPlot("$evaluations",
                         std::string("linespoints pointtype 6 linewidth 1.5 dashtype 4 "
                                     "linecolor '") +
                             kVermilion + '\'',
                         'o', "evaluations: endpoint to end");
        if (mSurface.isText()) return;
        mBuilder.addPlot(
            "$numbers",
            std::string("labels right offset char -0.5,0.8 textcolor '") + kVermilion + '\'', ' ',
            "");
    }

    void addMarks() {
        std::vector<Mark> marks;
        addEndpoints(marks);
        addOpinion(marks);
        addWindowsEnd(marks);
        addProbe(marks);
        mBuilder.addMarks(marks);
    }

    std::string inKey(const std::string& text) const { return mSurface.hasKey ? text : ""; }

    Mark markAt(std::int32_t sample, const std::string& name, const std::string& of) const {
        const double timeMs = mAxes.time.timeMs(mLaunch, static_cast<std::size_t>(sample));
        return {timeMs, name + " endpoint " + TimeAxis::text(timeMs) + of, kBlack, 1, 'E'};
    }

    void addEndpoints(std::vector<Mark>& marks) const {
        const std::int32_t own = hasResult() ? lastResult().endpointIndex : 0;
        const std::int32_t ofLaunch = mLaunch.finalIndex().value_or(0);
        if (ofLaunch > 0) {
            const std::string of = own == ofLaunch ? std::string(" (") + mTraits.name + ')' : "";
            Mark mark = markAt(ofLaunch, "launch", of);
            if (!mSurface.hasKey && of.empty()) mark.text.clear();
            marks.push_back(mark);
        }
        if (own > 0 && own != ofLaunch) {
            Mark mark = markAt(own, mTraits.name, "");
            mark.colour = kVermilion;
            mark.dash = 3;
            mark.letter = 'e';
            marks.push_back(mark);
        }
    }

    void addOpinion(std::vector<Mark>& marks) const {
        const std::optional<JudgedLaunch> judged = judge(mLaunch);
        if (mMetric != Metric::kVmRss || !judged) return;
        const SecondOpinion& opinion = judged->verdict.opinion;
        if (!opinion.settledAt || !differs(judged->seen, opinion)) return;
        const double timeMs = mAxes.time.timeMs(mLaunch, *opinion.settledAt);
        marks.push_back({timeMs,
                         "second opinion " + TimeAxis::text(timeMs) + ", within " +
                             TimeAxis::text(kSamplePeriodMs * opinion.errorSamples),
                         kGreen, 4, 'S'});
    }

    // A long launch that is decided ends before its window does.
    void addWindowsEnd(std::vector<Mark>& marks) const {
        if (!mLaunch.note || mLaunch.note->lookAfterKb.empty()) return;
        const std::size_t samples = mLaunch.note->samples;
        marks.push_back({mAxes.time.timeMs(mLaunch, samples - std::min<std::size_t>(samples, 1)),
                         inKey(isWindowWhole() ? "window's end" : "the library's last sample"),
                         kGrey, 2, 'W'});
    }

    // Where it settled, and the window that was chosen, as far as the launch was seen.
    void addProbe(std::vector<Mark>& marks) const {
        const std::optional<ProbeSight> sight = sightOf(mLaunch);
        if (!sight) return;
        if (const auto settledAt = sight->choice.settledAt(); settledAt && *settledAt > 0) {
            const double timeMs = mAxes.time.timeMs(mLaunch, *settledAt);
            marks.push_back({timeMs, "settled " + TimeAxis::text(timeMs), kGreen, 4, 'S'});
        }
        const std::size_t window = samplesOf(sight->choice.window);
        if (window > mValues.size()) return;
        marks.push_back({mAxes.time.timeMs(mLaunch, window - 1),
                         "end of " + windowText(sight->choice.window), kGrey, 2, 'W'});
    }

    const DumpedLaunch& mLaunch;
    const Metric mMetric;
    const MetricTraits& mTraits;
    const Axes& mAxes;
    const Unit& mUnit;
    const Surface& mSurface;
    const Series& mBehind;
    PanelBuilder mBuilder;
    std::vector<double> mValues;  // all that were seen
    bool mIsFlat = false;
};

}  // namespace

Panel launchPanel(const DumpedLaunch& launch, Metric metric, const Axes& axes,
                  const Surface& surface) {
    return LaunchPanel(launch, metric, axes, surface).build();
}

}  // namespace host
