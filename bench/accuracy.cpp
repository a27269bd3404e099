// orvo-accuracy: how far the endpoints lie from the truth, on launches whose
// settling time is known, beside simpler answers and a change-point search.
#include <algorithm>
#include <android/log.h>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/change_points.h"
#include "bench/learner_peer.h"
#include "bench/recording.h"
#include "bench/series.h"

namespace {

constexpr std::uint32_t kSeed = 1;
constexpr int kLaunchesPerKind = 200;
constexpr std::size_t kWindows[] = {34, 100, 2000};

/// A sample index, or nothing where the method does not decide.
using Answer = std::optional<double>;

struct Method {
    const char* name;
    std::function<Answer(const LaunchSeries&)> answer;
};

// --- The library's analysis.

Answer analysed(const LaunchSeries& series) {
    static OrvoLearnerPeer peer;
    const std::size_t samples = series.vmRssKb.size();
    // The message that gives a launch a window of this length.
    peer.setLaunch(samples > 100 ? kLongLaunchType : 1, samples == 100 ? 1 : 0);
    const std::int32_t endpoint = peer.replay(series);
    if (endpoint < 1) return {};
    return endpoint;
}

/// As in a default build, where descriptor counts never reach the analysis.
Answer analysedByDefault(LaunchSeries series) {
    series.fdCount.clear();
    return analysed(series);
}

// --- What would be used instead; all look at the memory alone.

Answer lastSegment(const LaunchSeries& series) {
    const std::vector<std::int32_t>& values = series.vmRssKb;
    const std::vector<std::size_t> changes = pelt(values, bicPenalty(values));
    return changes.empty() ? 0.0 : static_cast<double>(changes.back());
}

/// The first third of a second within which the memory moves by 1 % at most.
Answer quietWindow(const LaunchSeries& series) {
    constexpr std::ptrdiff_t kWindow = 11;
    const std::vector<std::int32_t>& values = series.vmRssKb;
    for (auto from = values.begin(); values.end() - from >= kWindow; ++from) {
        const auto [low, high] = std::minmax_element(from, from + kWindow);
        if (*high - *low <= *from / 100) return static_cast<double>(from - values.begin());
    }
    return {};
}

const std::vector<Method>& methods() {
    static const std::vector<Method> all = {
        {"analysis", analysedByDefault},
        {"with FD counts", analysed},
        {"first sample", [](const LaunchSeries&) { return Answer(0.0); }},
        {"last sample",
         [](const LaunchSeries& series) {
             return Answer(static_cast<double>(series.vmRssKb.size() - 1));
         }},
        {"never", [](const LaunchSeries&) { return Answer(); }},
        {"PELT, last segment", lastSegment},
        {"quiet window", quietWindow},
    };
    return all;
}

// --- How good the answers are.

struct Score {
    int launches = 0;
    int decided = 0;
    double errorMs = 0.0;   // summed, without signs
    double signedMs = 0.0;  // summed; above 0 is late

    void add(const Answer& answer, double settledAt) {
        ++launches;
        if (!answer) return;
        ++decided;
        const double error = (*answer - settledAt) * OrvoLearnerPeer::kPeriodMs;
        errorMs += std::fabs(error);
        signedMs += error;
    }
};

Score scoreOf(const Method& method, const std::vector<LabelledLaunch>& launches) {
    Score score;
    for (const LabelledLaunch& launch : launches)
        score.add(method.answer(launch.series), launch.settledAt);
    return score;
}

/// "120 / 5 %": the mean error in ms of what was decided, and the share of
/// launches left undecided.
std::string cell(const Score& score) {
    char text[48];
    const int undecided = score.launches - score.decided;
    const bool hasError = score.decided > 0 && std::isfinite(score.errorMs);
    if (hasError) {
        std::snprintf(text, sizeof(text), "%.0f / %.0f %%", score.errorMs / score.decided,
                      100.0 * undecided / score.launches);
    } else {
        std::snprintf(text, sizeof(text), "- / %.0f %%", 100.0 * undecided / score.launches);
    }
    return text;
}

std::string biasCell(const Score& score) {
    if (score.decided == 0 || !std::isfinite(score.signedMs)) return "-";
    char text[32];
    std::snprintf(text, sizeof(text), "%+.0f", score.signedMs / score.decided);
    return text;
}

void printHead(const std::string& what) {
    std::printf("\n| %s | analysis: bias |", what.c_str());
    for (const Method& method : methods())
        std::printf(" %s |", method.name);
    std::printf("\n|---|---|");
    for (std::size_t i = 0; i < methods().size(); ++i)
        std::printf("---|");
    std::printf("\n");
}

void printRow(const std::string& name, const std::vector<LabelledLaunch>& launches) {
    std::printf("| %s | %s |", name.c_str(),
                biasCell(scoreOf(methods().front(), launches)).c_str());
    for (const Method& method : methods())
        std::printf(" %s |", cell(scoreOf(method, launches)).c_str());
    std::printf("\n");
}

void printSimulated(std::size_t window) {
    printHead(std::to_string(window) + " samples, simulated");
    for (const LaunchKind kind : kAllKinds) {
        Random random(kSeed);
        std::vector<LabelledLaunch> launches;
        for (int i = 0; i < kLaunchesPerKind; ++i)
            launches.push_back(simulateLaunch(kind, window, random));
        printRow(kindName(kind), launches);
    }
}

void printRecorded(const std::string& folder) {
    printHead("recorded from a real program");
    for (const LabelledLaunch& launch : readRecordings(folder)) {
        const int truthMs = static_cast<int>(launch.settledAt) * OrvoLearnerPeer::kPeriodMs;
        printRow(launch.name + ", " + std::to_string(launch.series.vmRssKb.size()) +
                     " samples, settled at " + std::to_string(truthMs) + " ms",
                 {launch});
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER-OF-RECORDINGS\n", argv[0]);
        return 2;
    }
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    try {
        for (const std::size_t window : kWindows)
            printSimulated(window);
        printRecorded(argv[1]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        return 3;
    }
    return 0;
}
