// Gnuplot commands that the panels of a picture share.
#include "host/dump/plot_commands.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "host/base/printable.h"

namespace host {
namespace {

constexpr double kRoom = 0.1;           // below and above the values, of their height
constexpr double kFewWholeNumbers = 6;  // between which tics would stand at fractions
constexpr double kTicsApart = 0.4;      // in a strip, of its height
constexpr double kLeastOfStrip = 0.1;   // of the largest value, lest a wink looks like a leap
constexpr double kLetterHeight = 0.1;   // of a panel of characters

std::pair<double, double> extremesOf(const std::vector<double>& values) {
    if (values.empty()) return {0, 1};
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    return {*low, *high};
}

std::string colourOf(const char* colour) {
    return std::string(" linecolor '") + colour + '\'';
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : printable(text))
        result += c == '\'' ? std::string("''") : std::string(1, c);
    return result + "'";
}

std::string quotedLines(const std::string& lines) {
    std::string result;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);)
        result += (result.empty() ? "" : ".\"\\n\".") + host::quoted(line);
    return result;
}

std::string terminalCommands(PictureFormat format, int width, int height, bool isAscii) {
    const std::string size = std::to_string(width) + ',' + std::to_string(height);
    const std::string start = std::string(isAscii ? "" : "set encoding utf8\n") + "set terminal ";
    switch (format) {
        case PictureFormat::kSvg:
            return start + "svg noenhanced size " + size +
                   " font 'sans-serif,14' background '#ffffff'\n";
        case PictureFormat::kPng:
            return start + "pngcairo noenhanced size " + size +
                   " font 'sans,11' background '#ffffff'\n";
        case PictureFormat::kText:
            return start + "dumb noenhanced mono size " + size + '\n';
    }
    return "";
}

std::string axisTitle(Metric metric, const Unit& unit) {
    const std::string name = traitsOf(metric).name;
    return *unit.name == 0 ? name : name + " (" + unit.name + ')';
}

std::string dataName(std::size_t launch, Metric metric) {
    return "$launch" + std::to_string(launch) + '_' + traitsOf(metric).id;
}

void PlotList::addPlot(const std::string& what, const std::string& style, char letter,
                       const std::string& title) {
    const std::string asPoints = std::string("points pointtype '") + letter + "' notitle";
    const std::string inKey = title.empty() ? " notitle" : " title " + quoted(title);
    mPlots.push_back(what + " with " + (mIsText ? asPoints : style + inKey));
    if (!title.empty()) addKey(letter, title);
}

void PlotList::addKey(char letter, const std::string& title) {
    mKey.push_back(std::string(1, letter) + "  " + title);
}

Panel PlotList::build() const {
    std::string command = "plot ";
    for (const std::string& plot : mPlots)
        command += (&plot == &mPlots.front() ? "" : ", \\\n  ") + plot;
    return {mCommands + command + '\n', mKey};
}

PanelBuilder::PanelBuilder(const Axes& axes, Metric metric, const Surface& surface)
    : PlotList(surface.isText()), mAxes(axes), mUnit(axes.units[metric]), mSurface(surface) {}

void PanelBuilder::setRange(const std::vector<double>& samples, const std::vector<double>& others) {
    std::vector<double> values = samples;
    values.insert(values.end(), others.begin(), others.end());
    const auto [low, high] = extremesOf(samples);
    const auto [least, most] = extremesOf(values);
    const double smallest = mSurface.isStrip ? kLeastOfStrip * most : 1;
    const double height = std::max(most - least, smallest);
    std::ostringstream out;
    out.precision(kDigits);
    const double middle = (least + most) / 2;
    out << "set yrange [" << mUnit.of(middle - (0.5 + kRoom) * height) << ':'
        << mUnit.of(middle + (0.5 + kRoom) * height) << "]\nset ytics ";
    if (low == high || (mSurface.isStrip && high - low < kTicsApart * height)) {
        out << '(' << mUnit.of(high) << ")\n";
    } else if (mSurface.isStrip) {
        out << '(' << mUnit.of(low) << ", " << mUnit.of(high) << ")\n";
    } else {
        out << (mUnit.size <= 1 && height < kFewWholeNumbers ? "1" : "autofreq") << '\n';
    }
    addCommands(out.str());
}

void PanelBuilder::addMarks(const std::vector<Mark>& marks) {
    std::ostringstream out;
    out.precision(kDigits);
    for (const Mark& mark : marks) {
        const double at = mAxes.time.unit().of(mark.timeMs);
        const std::string look =
            " linewidth 2 dashtype " + std::to_string(mark.dash) + colourOf(mark.colour);
        out << "set arrow from first " << at << ",graph 0 to first " << at << ",graph 1 nohead "
            << (mSurface.isText() ? "back" : "front") << look << '\n';
        if (mark.text.empty()) continue;
        if (mSurface.isText()) {
            addKey(mark.letter, mark.text);
        } else {
            addPlot("NaN", "lines" + look, mark.letter, mark.text);
        }
    }
    addCommands(out.str());
    if (mSurface.isText()) addLetters(marks);
}

// Each at the top of its line, below another one that stands in its place.
void PanelBuilder::addLetters(const std::vector<Mark>& marks) {
    const double columnMs = mAxes.time.endMs() / std::max(1, mSurface.columns - kColumnsBeside);
    std::ostringstream out;
    out.precision(kDigits);
    for (auto mark = marks.begin(); mark != marks.end(); ++mark) {
        const auto above = std::count_if(marks.begin(), mark, [&](const Mark& other) {
            return std::fabs(other.timeMs - mark->timeMs) < 1.5 * columnMs;
        });
        out << "set label '" << mark->letter << "' at first " << mAxes.time.unit().of(mark->timeMs)
            << ",graph " << 1 - kLetterHeight * static_cast<double>(above) << " left front\n";
    }
    addCommands(out.str());
}

}  // namespace host
