// Gnuplot commands that the panels of a picture share.
#include "host/dump/plot_commands.h"

#include <algorithm>
#include <sstream>

#include "host/base/printable.h"

namespace host {
namespace {

constexpr double kTopLine = 0.95;  // of the panel's height
constexpr double kLineHeight = 0.085;
constexpr double kRoomBelow = 0.1;
constexpr double kFewWholeNumbers = 6;  // between which tics would stand at fractions

}  // namespace

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : printable(text))
        result += c == '\'' ? std::string("''") : std::string(1, c);
    return result + "'";
}

std::string axisTitle(Metric metric) {
    const std::string unit = traitsOf(metric).unit;
    return traitsOf(metric).name + (unit.empty() ? "" : " (" + unit.substr(1) + ")");
}

std::string dataName(std::size_t launch, Metric metric) {
    return "$launch" + std::to_string(launch) + '_' + traitsOf(metric).id;
}

std::string markCommands(const std::vector<Mark>& marks, std::int64_t lastMs) {
    if (marks.empty()) return "";
    const auto [first, last] =
        std::minmax_element(marks.begin(), marks.end(),
                            [](const Mark& a, const Mark& b) { return a.timeMs < b.timeMs; });
    const bool isLeft = first->timeMs > lastMs - last->timeMs;
    std::ostringstream out;
    double height = kTopLine;
    for (const Mark& mark : marks) {
        out << "set arrow from first " << mark.timeMs << ",graph 0 to first " << mark.timeMs
            << ",graph 1 nohead front linewidth 2 linecolor '" << mark.colour << "' dashtype "
            << mark.dash << '\n'
            << "set label " << quoted(mark.text) << " at first "
            << (isLeft ? first->timeMs : last->timeMs) << ",graph " << height
            << (isLeft ? " right offset char -2,0" : " left offset char 2,0")
            << " front boxed noenhanced textcolor '" << mark.colour << "'\n";
        height -= kLineHeight;
    }
    return out.str();
}

std::string rangeCommands(const std::vector<double>& values, double roomAbove) {
    if (values.empty()) return "set yrange [0:1]\n";
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    const double height = std::max(1.0, *high - *low);
    std::ostringstream out;
    out.precision(kDigits);
    out << "set yrange [" << *low - kRoomBelow * height << ':' << *high + roomAbove * height
        << "]\nset ytics " << (height < kFewWholeNumbers ? "1" : "autofreq") << '\n';
    return out.str();
}

std::string plotCommand(const std::vector<std::string>& plots) {
    std::string command = "plot ";
    for (const std::string& plot : plots)
        command += (&plot == &plots.front() ? "" : ", \\\n  ") + plot;
    return command + '\n';
}

}  // namespace host
