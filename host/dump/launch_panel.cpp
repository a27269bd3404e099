// One launch's panel of one metric.
#include "host/dump/launch_panel.h"

#include <sstream>

#include "host/dump/dump_verdict.h"

namespace host {
namespace {

constexpr double kRoomAbove = 0.25;  // for the words of two lines
constexpr double kRoomForNumbers = 0.15;

std::string msText(std::int64_t timeMs) {
    return std::to_string(timeMs) + " ms";
}

class LaunchPanel {
public:
    LaunchPanel(const DumpedLaunch& launch, Metric metric, PictureFormat format,
                std::int64_t lastMs)
        : mLaunch(launch),
          mMetric(metric),
          mTraits(traitsOf(metric)),
          mIsText(format == PictureFormat::kText),
          mLastMs(lastMs) {}

    std::string write() {
        mOut.precision(kDigits);
        writeRange();
        if (!mLaunch.evaluations.empty()) {
            addSettledValue();
            writeEndpoints();
        }
        addSamples();
        if (mLaunch.evaluations.size() > 1) addEvaluations();
        mOut << plotCommand(mPlots);
        return mOut.str();
    }

private:
    const MetricResult& lastResult() const { return mLaunch.evaluations.back().metrics[mMetric]; }

    double halfBand() const { return lastResult().settledValue * mTraits.tolerancePercent / 100.0; }

    void writeRange() {
        const Series& series = mLaunch.series[mMetric];
        std::vector<double> values(series.begin(), series.end());
        if (!mLaunch.evaluations.empty() && lastResult().settledValue != 0) {
            values.push_back(lastResult().settledValue - halfBand());
            values.push_back(lastResult().settledValue + halfBand());
        }
        const bool hasNumbers = mLaunch.evaluations.size() > 1;
        mOut << rangeCommands(values, kRoomAbove + (hasNumbers ? kRoomForNumbers : 0));
    }

    std::string settledTitle() const {
        return "settled value " + std::to_string(lastResult().settledValue) + mTraits.unit + " ± " +
               std::to_string(mTraits.tolerancePercent) + " %" +
               (lastResult().endpointIndex > 0 ? "" : ", no endpoint");
    }

    void addSettledValue() {
        const std::string value = std::to_string(lastResult().settledValue);
        if (mIsText) {
            mPlots.push_back(value + " with points pointtype '-' title " + quoted(settledTitle()));
            return;
        }
        const double low = lastResult().settledValue - halfBand();
        const double high = lastResult().settledValue + halfBand();
        mOut << "$band << EOD\n"
             << "0 " << low << ' ' << high << '\n'
             << mLastMs << ' ' << low << ' ' << high << "\nEOD\n";
        mPlots.push_back("$band with filledcurves fillstyle solid noborder fillcolor '" +
                         std::string(kPaleBlue) + "' title " + quoted(settledTitle()));
        mPlots.push_back(value + " with lines linewidth 1.5 dashtype 2 linecolor '" +
                         std::string(kBlue) + "' notitle");
    }

    void writeEndpoints() {
        const std::int32_t own = lastResult().endpointIndex;
        const std::int32_t ofLaunch = mLaunch.finalIndex().value_or(0);
        const std::string name = mTraits.name;
        std::vector<Mark> marks;
        if (ofLaunch > 0) {
            const std::string of = own == ofLaunch ? " (" + name + ")" : "";
            marks.push_back(
                {timeMs(ofLaunch), "launch endpoint " + msText(timeMs(ofLaunch)) + of, kBlack, 1});
        }
        if (own > 0 && own != ofLaunch) {
            marks.push_back(
                {timeMs(own), name + " endpoint " + msText(timeMs(own)), kVermilion, 3});
        }
        addOpinion(marks);
        mOut << markCommands(marks, mLastMs);
    }

    void addOpinion(std::vector<Mark>& marks) const {
        const std::optional<JudgedLaunch> judged = judge(mLaunch);
        if (mMetric != Metric::kVmRss || !judged) return;
        const Assessment assessment = assessmentOf(mLaunch, judged);
        if (!assessment.secondOpinionMs || !differs(judged->seen, judged->verdict.opinion)) return;
        marks.push_back(
            {*assessment.secondOpinionMs, "second opinion " + opinionText(assessment), kGreen, 4});
    }

    void addSamples() {
        const std::string colour = " linecolor '" + std::string(kBlue) + "'";
        const std::string style = mIsText            ? "points pointtype '*'"
                                  : mLaunch.isLong() ? "lines linewidth 2" + colour
                                                     : "linespoints pointtype 7 pointsize 0.5 "
                                                       "linewidth 1.5" +
                                                           colour;
        mPlots.push_back(dataName(0, mMetric) + " with " + style + " title " +
                         quoted(mTraits.name));
    }

    // Each as a line from the endpoint that it found, if it did, up to its own
    // time, at the value that it took for settled, with its number at the end.
    void addEvaluations() {
        std::ostringstream numbers;
        mOut << "$evaluations << EOD\n";
        for (const Evaluation& evaluation : mLaunch.evaluations) {
            const MetricResult& result = evaluation.metrics[mMetric];
            const std::int64_t toMs = timeMs(static_cast<std::int64_t>(evaluation.samples()) - 1);
            const std::int64_t fromMs =
                result.endpointIndex > 0 ? timeMs(result.endpointIndex) : toMs;
            mOut << fromMs << ' ' << result.settledValue << '\n'
                 << toMs << ' ' << result.settledValue << "\n\n";
            numbers << toMs << ' ' << result.settledValue << ' '
                    << &evaluation - &mLaunch.evaluations.front() + 1 << '\n';
        }
        mOut << "EOD\n$numbers << EOD\n" << numbers.str() << "EOD\n";
        mPlots.push_back("$evaluations with " +
                         (mIsText ? std::string("points pointtype 'o'")
                                  : "linespoints pointtype 6 linewidth 1.5 dashtype 4 linecolor '" +
                                        std::string(kVermilion) + "'") +
                         " title 'evaluations: endpoint to end'");
        mPlots.push_back("$numbers with labels right offset char -0.5,0.8 textcolor '" +
                         std::string(kVermilion) + "' notitle");
    }

    const DumpedLaunch& mLaunch;
    const Metric mMetric;
    const MetricTraits& mTraits;
    const bool mIsText;
    const std::int64_t mLastMs;
    std::ostringstream mOut;
    std::vector<std::string> mPlots;
};

}  // namespace

std::string launchPanel(const DumpedLaunch& launch, Metric metric, PictureFormat format,
                        std::int64_t lastMs) {
    return LaunchPanel(launch, metric, format, lastMs).write();
}

}  // namespace host
