// Words on standard error while launches are learned.
#include "host/learn/progress.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "host/base/steady_clock.h"
#include "host/library/metric.h"

namespace host {
namespace {

constexpr int kBarCells = 24;

const char* phaseText(LaunchPhase phase) {
    switch (phase) {
        case LaunchPhase::kPending:
            return "starting";
        case LaunchPhase::kHunting:
            return "looking for the process";
        case LaunchPhase::kSampling:
            return "sampling";
        case LaunchPhase::kConcluding:
        case LaunchPhase::kEnded:
            break;
    }
    return "concluding";
}

// The share of the phase that is over, by the time it takes at most.
double shareDone(const LaunchRecord& record, double phaseTimeMs) {
    switch (record.phase()) {
        case LaunchPhase::kPending:
            return 0;
        case LaunchPhase::kHunting:
            return std::min(1.0, phaseTimeMs / kHuntLimitMs);
        case LaunchPhase::kSampling:
            return std::min(
                1.0, phaseTimeMs / static_cast<double>(kSamplePeriodMs * record.sampleBudget()));
        case LaunchPhase::kConcluding:
        case LaunchPhase::kEnded:
            break;
    }
    return 1;
}

std::string barOf(const std::string& title, double share, const char* phase, double phaseTimeMs) {
    const int done = static_cast<int>(std::min(1.0, share) * kBarCells);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, " %.1f s", phaseTimeMs / 1000);
    return title + " [" + std::string(static_cast<std::size_t>(done), '#') +
           std::string(static_cast<std::size_t>(kBarCells - done), '-') + "] " + phase + seconds;
}

}  // namespace

std::string barText(const std::string& title, const LaunchRecord& record, double phaseTimeMs) {
    return barOf(title, shareDone(record, phaseTimeMs), phaseText(record.phase()), phaseTimeMs);
}

Progress::Style Progress::styleFor(bool quiet, bool logIsShown) {
    if (quiet) return Style::kQuiet;
    return isatty(STDERR_FILENO) != 0 && !logIsShown ? Style::kBar : Style::kLines;
}

void Progress::begin(const std::string& title) {
    mTitle = title;
    mPhase = LaunchPhase::kPending;
    mPhaseStartMs = steadyMs();
    if (mStyle == Style::kLines) line("started");
}

void Progress::show(const LaunchRecord& record) {
    if (record.phase() != mPhase) {
        mPhase = record.phase();
        mPhaseStartMs = steadyMs();
    }
    bar(barText(mTitle, record, steadyMs() - mPhaseStartMs));
}

void Progress::showLookAfter(double lookedForMs, double limitMs) {
    bar(barOf(mTitle, lookedForMs / std::max(limitMs, 1.0), "looking on", lookedForMs));
}

void Progress::showProbe(double elapsedMs) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s", elapsedMs / 1000);
    bar(mTitle + ": looking for when it settles, " + seconds);
}

void Progress::bar(const std::string& text) const {
    if (mStyle == Style::kBar) std::fprintf(stderr, "\r\033[K%s", text.c_str());
}

void Progress::note(const std::string& text) {
    line(text);
}

void Progress::endLaunch(const std::string& result) {
    line(result);
}

void Progress::line(const std::string& text) {
    tell(mTitle + ": " + text);
}

void Progress::tell(const std::string& text) {
    if (mStyle == Style::kQuiet) return;
    if (mStyle == Style::kBar) std::fputs("\r\033[K", stderr);
    std::fprintf(stderr, "%s\n", text.c_str());
}

}  // namespace host
