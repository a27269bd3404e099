// A chart of series over time, as SVG.
#include "host/report/svg_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "host/base/printable.h"
#include "host/dump/plot_commands.h"
#include "host/report/html.h"

namespace host {
namespace {

// In the units of the chart, which a phone shows at about their size in pixels.
constexpr double kWidth = 400;
constexpr double kLeft = 40;
constexpr double kRight = 18;  // half of the last tic's number
constexpr double kTitle = 24;  // above a panel
constexpr double kTitleLift = 10;
constexpr std::size_t kTitleBytes = 55;
constexpr double kPanel = 150;
constexpr double kStrip = 30;
constexpr double kBelow = 34;  // for the axis of time
constexpr double kEnd = kWidth - kRight;
constexpr double kHalfLetter = 4;

constexpr double kRoom = 0.06;         // above and below the values, of their height
constexpr double kApart = 0.5;         // so far the two tics of a strip are, of its height
constexpr double kLeastOfStrip = 0.1;  // of the largest value, lest a wink looks like a leap
constexpr int kTics = 4;
constexpr int kTimeTics = 6;
constexpr double kSameColumn = 0.8;  // points closer than this are one to the eye

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", value);
    std::string result = text;
    if (result.size() > 2 && result.compare(result.size() - 2, 2, ".0") == 0)
        result.resize(result.size() - 2);
    return result == "-0" ? "0" : result;
}

std::string ticText(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g", value);
    return text;
}

std::string lineElement(double x1, double y1, double x2, double y2, const std::string& style) {
    return "<path class='" + style + "' d='M" + number(x1) + ' ' + number(y1) + 'L' + number(x2) +
           ' ' + number(y2) + "'/>";
}

std::string textElement(double x, double y, const std::string& anchor, const std::string& text) {
    return "<text x='" + number(x) + "' y='" + number(y) + "'" +
           (anchor.empty() ? "" : " text-anchor='" + anchor + '\'') + '>' + escaped(text) +
           "</text>";
}

std::string rectElement(double left, double top, double right, double bottom,
                        const std::string& style) {
    return "<rect class='" + style + "' x='" + number(left) + "' y='" + number(top) + "' width='" +
           number(std::max(right - left, 0.0)) + "' height='" +
           number(std::max(bottom - top, 0.0)) + "'/>";
}

// Of the points in one column the first, the lowest, the highest and the last.
SvgChart::Points thinned(const SvgChart::Points& points) {
    SvgChart::Points result;
    for (auto first = points.begin(); first != points.end();) {
        const auto end = std::find_if(first, points.end(), [&](const auto& p) {
            return p.first - first->first > kSameColumn;
        });
        const auto byValue = [](const auto& one, const auto& other) {
            return one.second < other.second;
        };
        auto [low, high] = std::minmax_element(first, end, byValue);
        if (high < low) std::swap(low, high);
        for (const auto& point : {first, low, high, std::prev(end)}) {
            if (result.empty() || result.back() != *point) result.push_back(*point);
        }
        first = end;
    }
    return result;
}

// Without the points between two others of the same height.
SvgChart::Points withoutMiddles(const SvgChart::Points& points) {
    SvgChart::Points result;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const bool isMiddle = i > 0 && i + 1 < points.size() &&
                              points[i - 1].second == points[i].second &&
                              points[i + 1].second == points[i].second;
        if (!isMiddle) result.push_back(points[i]);
    }
    return result;
}

// From the first point, which counts from 0, in steps, which take half the bytes of
// absolute positions. Each counts from where the rounded ones before it lead.
std::string pathOf(const SvgChart::Points& points) {
    std::string path;
    double left = 0;
    double top = 0;
    for (const auto& [x, y] : points) {
        const std::string right = number(x - left);
        const std::string down = number(y - top);
        path += path.empty() ? "m" : right[0] == '-' ? "" : " ";
        path += right;
        path += down[0] == '-' ? "" : " ";
        path += down;
        left += std::strtod(right.c_str(), nullptr);
        top += std::strtod(down.c_str(), nullptr);
    }
    return path;
}

std::vector<double> ticsBetween(double low, double high, int most) {
    const double step = niceStep(high - low, most);
    std::vector<double> tics;
    const std::int64_t last = std::llround(std::floor(high / step));
    for (std::int64_t i = std::llround(std::ceil(low / step)); i <= last; ++i)
        tics.push_back(static_cast<double>(i) * step);
    return tics;
}

}  // namespace

void SvgChart::startPanel(Metric metric, const Unit& unit, double low, double high, bool isStrip) {
    mTop += mHeight + kTitle;
    mHeight = isStrip ? kStrip : kPanel;
    mUnit = unit;
    const double height = std::max(high - low, isStrip ? kLeastOfStrip * high : 1.0);
    const double middle = (low + high) / 2;
    mLow = mUnit.of(middle - (0.5 + kRoom) * height);
    mHigh = mUnit.of(middle + (0.5 + kRoom) * height);
    addFrame(axisTitle(metric, mUnit));
    if (isStrip || low == high) {
        addTic(mUnit.of(high));
        if (high - low > kApart * height) addTic(mUnit.of(low));
    } else {
        addTics();
    }
}

void SvgChart::startStrip(const std::string& title) {
    mTop += mHeight + kTitle;
    mHeight = kStrip;
    mUnit = {1, ""};
    mLow = 0;
    mHigh = 1;
    addFrame(title);
}

void SvgChart::addFrame(const std::string& title) {
    mBody += textElement(0, mTop - kTitleLift, "", printable(title, kTitleBytes)) +
             lineElement(kLeft, mTop, kLeft, mTop + mHeight, "ax") +
             lineElement(kLeft, mTop + mHeight, kEnd, mTop + mHeight, "ax");
}

void SvgChart::addTics() {
    for (const double tic : ticsBetween(mLow, mHigh, kTics))
        addTic(tic);
}

void SvgChart::addTic(double value) {
    const double at = mTop + mHeight * (mHigh - value) / (mHigh - mLow);
    mBody += lineElement(kLeft, at, kEnd, at, "gr") +
             textElement(kLeft - 4, at + kHalfLetter, "end", ticText(value));
}

double SvgChart::x(double ms) const {
    return kLeft + (kEnd - kLeft) * (ms - mSpan.fromMs) / std::max(mSpan.toMs - mSpan.fromMs, 1.0);
}

double SvgChart::y(double value) const {
    return mTop + mHeight * (mHigh - mUnit.of(value)) / (mHigh - mLow);
}

void SvgChart::addLine(const Points& points, const std::string& style) {
    Points placed;
    for (const auto& [ms, value] : points)
        placed.emplace_back(x(ms), y(value));
    mBody += "<path class='" + style + "' d='" + pathOf(withoutMiddles(thinned(placed))) + "'/>";
}

void SvgChart::addBand(double low, double high, const std::string& style) {
    const double top = std::max(y(high), mTop);
    mBody += rectElement(kLeft, top, kEnd, std::min(y(low), mTop + mHeight), style);
}

void SvgChart::addSpan(double fromMs, double toMs, const std::string& style) {
    mBody += rectElement(x(fromMs), mTop, x(toMs), mTop + mHeight, style);
}

void SvgChart::addMark(double atMs, const std::string& style) {
    mBody += lineElement(x(atMs), mTop, x(atMs), mTop + mHeight, style);
}

void SvgChart::addPoint(double atMs, double value, const std::string& style) {
    mBody += "<circle class='" + style + "' cx='" + number(x(atMs)) + "' cy='" + number(y(value)) +
             "' r='4'/>";
}

void SvgChart::addTimeAxis() {
    const double bottom = mTop + mHeight;
    const double first = mSpan.unit.of(mSpan.fromMs);
    const double end = mSpan.unit.of(mSpan.toMs);
    for (const double tic : ticsBetween(first, end, kTimeTics)) {
        const double at = x(tic * mSpan.unit.size);
        mBody += lineElement(at, bottom, at, bottom + 3, "ax") +
                 textElement(at, bottom + 14, "middle", ticText(tic));
    }
    mBody += textElement(kEnd, bottom + 28, "end", mSpan.title);
}

std::string SvgChart::build(const std::string& id, const std::string& name,
                            const std::string& text) {
    addTimeAxis();
    return "<svg viewBox='0 0 " + number(kWidth) + ' ' + number(mTop + mHeight + kBelow) +
           "' role='img' aria-labelledby='" + id + "t " + id + "d'><title id='" + id + "t'>" +
           htmlText(name) + "</title><desc id='" + id + "d'>" + htmlText(text) + "</desc>" + mBody +
           "</svg>\n";
}

}  // namespace host
