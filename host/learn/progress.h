// Words on standard error while launches are learned.
#pragma once

#include <string>

#include "host/library/launch_record.h"

namespace host {

/// The title of the launch that shows how to make the others.
constexpr const char* kProbingTitle = "probing launch";

class Progress {
public:
    enum class Style { kQuiet, kLines, kBar };

    /// A live bar on a terminal, plain lines elsewhere, nothing when `quiet`.
    /// Log lines on the same stream rule the bar out.
    static Style styleFor(bool quiet, bool logIsShown);

    explicit Progress(Style style) : mStyle(style) {}

    /// Begins a launch, to which everything until the next one belongs, except tell().
    void begin(const std::string& title);

    /// Shows how far the launch has come; only the bar does.
    void show(const LaunchRecord& record);

    /// The same of the probing launch.
    void showProbe(double elapsedMs);

    /// The same of the time behind the library's window.
    void showLookAfter(double lookedForMs, double limitMs);

    void note(const std::string& text);

    /// A line that belongs to no launch.
    void tell(const std::string& text);

    void endLaunch(const std::string& result);

private:
    void bar(const std::string& text) const;
    void line(const std::string& text);

    const Style mStyle;
    std::string mTitle;
    LaunchPhase mPhase = LaunchPhase::kPending;
    double mPhaseStartMs = 0;
};

/// The bar of one launch: "launch 2/5 [#####-----] sampling 0.5 s".
std::string barText(const std::string& title, const LaunchRecord& record, double phaseTimeMs);

}  // namespace host
