// The gnuplot script that draws two measurements over each other.
#include "host/compare/comparison_picture.h"

#include <algorithm>
#include <sstream>

#include "host/base/printable.h"
#include "host/compare/comparison_report.h"
#include "host/compare/dots_panel.h"
#include "host/compare/memory_panel.h"
#include "host/dump/caption.h"

namespace host {
namespace {

// Heights of a picture's parts, in pixels or rows.
struct Heights {
    int titleLine;
    int dots;
    int memory;
};
constexpr Heights kPixels{22, 260, 370};
constexpr Heights kRows{0, 15, 16};

constexpr std::size_t kTitleColumns = 100;  // of a picture, that fit into its width

std::string titleOf(const Comparison& comparison, const ComparisonPicture& picture) {
    const std::string name = printable(comparison.newer.measurement->name);
    const std::string finding = findingText(comparison);
    if (picture.isText())
        return wrapped(name + ": " + finding, static_cast<std::size_t>(picture.columns), 2);
    return wrapped(name, kTitleColumns, 0) + wrapped(finding, kTitleColumns, 0);
}

// What holds for both panels.
std::string frameOf(const ComparisonPicture& picture, const std::string& title) {
    const std::string common = "\nset border 3\nset tics nomirror out\nset format '%g'\n";
    if (picture.isText()) {
        return "set multiplot" + common +
               "set lmargin 8\nset rmargin 2\nset tmargin 1\nset bmargin 3\nunset key\n";
    }
    return "set multiplot title " + quotedLines(title) + " noenhanced font ',13'" + common +
           "set lmargin 12\nset rmargin 4\n"
           "set key noenhanced outside above left horizontal Left reverse\n";
}

std::string placed(const Panel& panel, int bottom, int height, int all) {
    std::ostringstream out;
    out << "set origin 0," << static_cast<double>(bottom) / all << "\nset size 1,"
        << static_cast<double>(height) / all << '\n'
        << panel.script;
    return out.str();
}

PlotScript scriptOf(const Comparison& comparison, const ComparisonPicture& picture) {
    const Heights& heights = picture.isText() ? kRows : kPixels;
    const std::string title = titleOf(comparison, picture);
    const Panel dots = dotsPanel(comparison, picture);
    const std::optional<Panel> memory = memoryPanel(comparison, picture);
    const int memoryHeight = memory ? heights.memory : 0;
    const auto titleLines = 1 + static_cast<int>(std::count(title.begin(), title.end(), '\n'));
    const int height = titleLines * heights.titleLine + heights.dots + memoryHeight;
    std::string script =
        terminalCommands(picture.format, picture.width(), height, picture.isAscii) +
        frameOf(picture, title) + placed(dots, memoryHeight, heights.dots, height);
    if (memory) script += placed(*memory, 0, memoryHeight, height);
    script += "unset multiplot\n";
    if (!picture.isText()) return {script, "", ""};
    std::vector<std::string> key = dots.key;
    if (memory) key.insert(key.end(), memory->key.begin(), memory->key.end());
    return {script, title, keyText(key, static_cast<std::size_t>(picture.columns))};
}

}  // namespace

PlotScript comparisonScript(const Comparison& comparison, const ComparisonPicture& picture) {
    PlotScript result = scriptOf(comparison, picture);
    if (!picture.isAscii) return result;
    return {inAscii(result.script), inAscii(result.above), inAscii(result.below)};
}

}  // namespace host
