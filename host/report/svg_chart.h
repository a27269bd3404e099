// A chart of series over time, as SVG.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/dump/picture_axes.h"

namespace host {

/// What a chart's axis of time shows.
struct TimeSpan {
    explicit TimeSpan(const TimeAxis& axis)
        : toMs(axis.endMs()), unit(axis.unit()), title(axis.title()) {}
    TimeSpan(double from, double to, std::string name)
        : fromMs(from), toMs(to), title(std::move(name)) {}

    double fromMs = 0;
    double toMs;
    Unit unit{1, "ms"};
    std::string title;
};

/// Panels below each other that share the axis of time. What lines look like is the
/// page's: each has a class.
class SvgChart {
public:
    explicit SvgChart(TimeSpan span) : mSpan(std::move(span)) {}

    /// A line through points of ms and value; what the eye cannot see is left out.
    using Points = std::vector<std::pair<double, double>>;

    /// Begins a panel that shows values from `low` to `high`, with room around them.
    void startPanel(Metric metric, const Unit& unit, double low, double high, bool isStrip);

    /// Begins a strip of values from 0 to 1, which mean nothing.
    void startStrip(const std::string& title);

    // Into the newest panel.
    void addLine(const Points& points, const std::string& style);
    void addBand(double low, double high, const std::string& style);     ///< of values
    void addSpan(double fromMs, double toMs, const std::string& style);  ///< of time
    void addMark(double atMs, const std::string& style);                 ///< upright
    void addPoint(double atMs, double value, const std::string& style);

    /// With a name and a text for those who do not see it; `id` is its own in the page.
    std::string build(const std::string& id, const std::string& name, const std::string& text);

private:
    double x(double ms) const;
    double y(double value) const;
    void addFrame(const std::string& title);
    void addTics();
    void addTic(double value);
    void addTimeAxis();

    const TimeSpan mSpan;
    std::string mBody;
    Unit mUnit{1, ""};
    double mTop = 0;     // of the newest panel
    double mHeight = 0;  // its own
    double mLow = 0;     // what it shows, in its unit
    double mHigh = 1;
};

}  // namespace host
