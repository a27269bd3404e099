// Gnuplot commands that the panels of a picture share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/dump/picture_axes.h"

namespace host {

enum class PictureFormat { kSvg, kPng, kText };

// Colours that people with any kind of colour vision tell apart; dash patterns
// and marks differ too, for black and white.
constexpr const char* kBlack = "#000000";
constexpr const char* kOrange = "#E69F00";
constexpr const char* kSkyBlue = "#56B4E9";
constexpr const char* kGreen = "#009E73";
constexpr const char* kBlue = "#0072B2";
constexpr const char* kVermilion = "#D55E00";
constexpr const char* kPurple = "#CC79A7";
constexpr const char* kPaleBlue = "#D6EBF7";
constexpr const char* kLightBlue = "#9CCBE8";
constexpr const char* kGrey = "#808080";
constexpr const char* kPaleGrey = "#ECECEC";

/// Digits that a value needs, of memory with a tolerance's decimals.
constexpr int kDigits = 12;

constexpr int kWidthPx = 1000;
constexpr int kPixelsPerTic = 90;
constexpr int kColumnsPerTic = 9;
constexpr int kColumnsBeside = 11;  ///< a drawing in characters, for tics

/// Where a panel is drawn.
struct Surface {
    PictureFormat format;
    int columns;   ///< of a text
    bool isStrip;  ///< a low one
    bool hasKey;   ///< tells what the lines are that all panels show

    bool isText() const { return format == PictureFormat::kText; }
};

/// What draws a panel; in a text the key is apart from it.
struct Panel {
    std::string script;
    std::vector<std::string> key;  ///< "*  memory"
};

/// `text` as gnuplot takes it literally: in single quotes nothing is expanded.
std::string quoted(const std::string& text);

/// Lines as one text of gnuplot's.
std::string quotedLines(const std::string& lines);

/// Sets the terminal and its size, in pixels or in columns and rows.
std::string terminalCommands(PictureFormat format, int width, int height, bool isAscii);

/// "memory (MB)".
std::string axisTitle(Metric metric, const Unit& unit);

/// Name of the data block of one launch's series.
std::string dataName(std::size_t launch, Metric metric);

/// A vertical line across the panel.
struct Mark {
    double timeMs;
    std::string text;  ///< for the key; empty for none
    const char* colour;
    int dash;
    char letter;  ///< in a text
};

/// What of a panel does not depend on what it shows.
class PlotList {
public:
    explicit PlotList(bool isText) : mIsText(isText) {}

    /// Commands that stand before the plot.
    void addCommands(const std::string& commands) { mCommands += commands; }

    /// `what` to plot, in a picture `style`, in a text as points of `letter`.
    void addPlot(const std::string& what, const std::string& style, char letter,
                 const std::string& title);

    /// A text's key alone.
    void addKey(char letter, const std::string& title);

    Panel build() const;

private:
    const bool mIsText;
    std::string mCommands;
    std::vector<std::string> mPlots;
    std::vector<std::string> mKey;
};

/// What a panel of one metric is put together from.
class PanelBuilder : public PlotList {
public:
    PanelBuilder(const Axes& axes, Metric metric, const Surface& surface);

    /// Lets the panel show all `samples` and `others`. The axis of a strip or of flat
    /// samples has no more than their smallest and largest at it.
    void setRange(const std::vector<double>& samples, const std::vector<double>& others);

    void addMarks(const std::vector<Mark>& marks);

private:
    void addLetters(const std::vector<Mark>& marks);

    const Axes& mAxes;
    const Unit& mUnit;
    const Surface& mSurface;
};

}  // namespace host
