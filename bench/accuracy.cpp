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
#include "bench/recording.h"
#include "bench/series.h"
#include "host/dump/analysis.h"
#include "host/verdict/verdict.h"
#include "host/verdict/verdict_text.h"
#include "learner/launch_type.h"

namespace {

constexpr std::uint32_t kSeed = 1;
constexpr std::uint32_t kOtherSeed = 5;
constexpr int kLaunchesPerKind = 200;
constexpr std::size_t kWindows[] = {34, 100, 2000};

// A sample index, or nothing where the method does not decide.
using Answer = std::optional<double>;

struct Method {
    const char* name;
    std::function<Answer(const LaunchSeries&)> answer;
};

// --- The library's analysis.

struct Analysis {
    Answer endpoint;
    std::size_t samplesSeen = 0;
};

Analysis analyse(const LaunchSeries& series) {
    const std::size_t samples = series[Metric::kVmRss].size();
    // The message that gives a launch a window of this length.
    const std::int32_t type = samples > 100 ? kLongLaunchType : 1;
    const std::vector<host::SeriesLengths> seen = host::evaluationsOf(series, type);
    const auto results =
        host::Analysis(type, samples == 100 ? 1 : 0).evaluateUntilDecided(series, seen);
    const auto& endpoint = results.back().finalIndex;
    return {endpoint ? Answer(*endpoint) : Answer(), seen[results.size() - 1][Metric::kVmRss]};
}

Answer analysed(const LaunchSeries& series) {
    return analyse(series).endpoint;
}

// As in a default build, where descriptor counts never reach the analysis.
Analysis analyseByDefault(LaunchSeries series) {
    series[Metric::kFdCount].clear();
    return analyse(series);
}

Answer analysedByDefault(const LaunchSeries& series) {
    return analyseByDefault(series).endpoint;
}

// --- What would be used instead; all look at the memory alone.

Answer lastSegment(const LaunchSeries& series) {
    const std::vector<std::int32_t>& values = series[Metric::kVmRss];
    const std::vector<std::size_t> changes = pelt(values, bicPenalty(values));
    return changes.empty() ? 0.0 : static_cast<double>(changes.back());
}

// The first third of a second within which the memory moves by 1 % at most.
Answer quietWindow(const LaunchSeries& series) {
    constexpr std::ptrdiff_t kWindow = 11;
    const std::vector<std::int32_t>& values = series[Metric::kVmRss];
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
             return Answer(static_cast<double>(series[Metric::kVmRss].size() - 1));
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
        const double error = (*answer - settledAt) * host::kSamplePeriodMs;
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

// "120 / 5 %": the mean error in ms of what was decided, and the share of
// launches left undecided.
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

// --- The verdict and the second opinion, which see what follows the window too.

using Memory = std::vector<std::int32_t>;

Memory wholeMemory(const LabelledLaunch& launch) {
    Memory memory = launch.series[Metric::kVmRss];
    memory.insert(memory.end(), launch.laterRssKb.begin(), launch.laterRssKb.end());
    return memory;
}

Answer lastSegmentOf(const Memory& memory) {
    return lastSegment({{memory, {}, {}}});
}

std::size_t streakOf(std::size_t window) {
    return window > 100 ? host::kLongStreak : host::kShortStreak;
}

void printSecondOpinion(std::size_t window, const std::vector<std::vector<LabelledLaunch>>& kinds) {
    // One percent of a long window, two samples of the others.
    const double targetMs = std::max(2.0, 0.01 * static_cast<double>(window)) * 30;
    std::printf(
        "\n| %zu samples and as many behind | second opinion | within its error | target | "
        "PELT, last segment | PELT, window alone | analysis, window alone |\n"
        "|---|---|---|---|---|---|---|\n",
        window);
    for (const std::vector<LabelledLaunch>& launches : kinds) {
        Score own;
        Score pelt;
        int within = 0;
        for (const LabelledLaunch& launch : launches) {
            const Memory memory = wholeMemory(launch);
            const auto opinion = host::secondOpinion(memory, streakOf(window));
            const Answer answer = opinion.settledAt ? Answer(*opinion.settledAt) : Answer();
            own.add(answer, launch.settledAt);
            pelt.add(lastSegmentOf(memory), launch.settledAt);
            within += answer && std::fabs(*answer - launch.settledAt) <= opinion.errorSamples;
        }
        const double share = 100.0 * within / std::max(1, own.decided);
        std::printf("| %s | %s | %.0f %% | %.0f | %s | %s | %s |\n", launches.front().name.c_str(),
                    cell(own).c_str(), share, targetMs, cell(pelt).c_str(),
                    cell(scoreOf({"", lastSegment}, launches)).c_str(),
                    cell(scoreOf(methods().front(), launches)).c_str());
    }
}

// How long the host goes on looking.
struct LookAfter {
    const char* name;
    std::function<std::size_t(std::size_t seen, std::size_t window)> samples;  // in all
};

const std::vector<LookAfter>& looksAfter(std::size_t window) {
    static const LookAfter none{"none", [](auto seen, auto) { return seen; }};
    static const LookAfter again{"as long as the library looked",
                                 [](auto seen, auto) { return 2 * seen; }};
    static const LookAfter asWindow{"as long as the window",
                                    [](auto seen, auto all) { return seen + all; }};
    static const std::vector<LookAfter> all{none, asWindow};
    static const std::vector<LookAfter> allLong{none, again, asWindow};
    return window > 100 ? allLong : all;
}

host::Verdict verdictOn(const LabelledLaunch& launch, const Analysis& analysis,
                        const LookAfter& look) {
    host::SeenLaunch seen;
    seen.window = launch.series[Metric::kVmRss].size();
    seen.seen = analysis.samplesSeen;
    seen.streak = streakOf(seen.window);
    seen.memoryKb = wholeMemory(launch);
    seen.memoryKb.resize(std::min(seen.memoryKb.size(), look.samples(seen.seen, seen.window)));
    if (analysis.endpoint) seen.endpoint = static_cast<std::size_t>(*analysis.endpoint);
    return host::verdictOn(seen);
}

bool isWrong(const Answer& endpoint, double settledAt, std::size_t window) {
    return !(std::fabs(*endpoint - settledAt) <= host::allowedDifference(window));
}

// Endpoints of one look after, and how many of them got a doubt.
struct Doubts {
    int wrong = 0;
    int wrongDoubted = 0;
    int right = 0;
    int rightDoubted = 0;

    void add(bool isWrong, bool isDoubted) {
        ++(isWrong ? wrong : right);
        if (isDoubted) ++(isWrong ? wrongDoubted : rightDoubted);
    }
    void add(const Doubts& other) {
        wrong += other.wrong;
        wrongDoubted += other.wrongDoubted;
        right += other.right;
        rightDoubted += other.rightDoubted;
    }
};

Doubts doubtsOf(const std::vector<LabelledLaunch>& launches, const LookAfter& look) {
    Doubts doubts;
    for (const LabelledLaunch& launch : launches) {
        const Analysis analysis = analyseByDefault(launch.series);
        if (!analysis.endpoint) continue;
        doubts.add(
            isWrong(analysis.endpoint, launch.settledAt, launch.series[Metric::kVmRss].size()),
            !verdictOn(launch, analysis, look).isSettled());
    }
    return doubts;
}

std::string share(int part, int whole) {
    char text[48];
    if (whole == 0) return "-";
    std::snprintf(text, sizeof(text), "%.1f %% (%d of %d)", 100.0 * part / whole, part, whole);
    return text;
}

void printDoubts(std::size_t window, const std::vector<std::vector<LabelledLaunch>>& kinds) {
    std::printf(
        "\n| %zu samples, look after | wrong endpoints doubted | but for steps after the "
        "window | target | right endpoints doubted | target |\n|---|---|---|---|---|---|\n",
        window);
    for (const LookAfter& look : looksAfter(window)) {
        Doubts all;
        Doubts foreseeable;
        for (const std::vector<LabelledLaunch>& launches : kinds) {
            const Doubts doubts = doubtsOf(launches, look);
            all.add(doubts);
            if (launches.front().name != kindName(LaunchKind::kStepAfter)) foreseeable.add(doubts);
        }
        const bool isNone = look.name == looksAfter(window).front().name;
        std::printf("| %s | %s | %s | %s | %s | at most 3 %% |\n", look.name,
                    share(all.wrongDoubted, all.wrong).c_str(),
                    share(foreseeable.wrongDoubted, foreseeable.wrong).c_str(),
                    isNone ? "at least 85 %" : "at least 97 %",
                    share(all.rightDoubted, all.right).c_str());
    }
}

void printDoubtsByKind(std::size_t window, const std::vector<std::vector<LabelledLaunch>>& kinds) {
    const LookAfter& none = looksAfter(window).front();
    const LookAfter& longest = looksAfter(window).back();
    std::printf(
        "\n| %zu samples | undecided | wrong endpoints doubted | with the look after | right "
        "endpoints doubted | with the look after |\n|---|---|---|---|---|---|\n",
        window);
    for (const std::vector<LabelledLaunch>& launches : kinds) {
        const Doubts without = doubtsOf(launches, none);
        const Doubts with = doubtsOf(launches, longest);
        const int decided = without.wrong + without.right;
        std::printf("| %s | %d | %s | %s | %s | %s |\n", launches.front().name.c_str(),
                    static_cast<int>(launches.size()) - decided,
                    share(without.wrongDoubted, without.wrong).c_str(),
                    share(with.wrongDoubted, with.wrong).c_str(),
                    share(without.rightDoubted, without.right).c_str(),
                    share(with.rightDoubted, with.right).c_str());
    }
}

std::string wordsOf(const host::Verdict& verdict) {
    std::string words;
    for (const host::Doubt doubt : verdict.doubts)
        words += (words.empty() ? "" : ", ") + std::string(host::doubtWord(doubt));
    return words.empty() ? "settled" : words;
}

std::string labelOf(const LabelledLaunch& launch) {
    if (!std::isfinite(launch.settledAt)) return "never settles";
    return "settled at " +
           std::to_string(static_cast<int>(launch.settledAt) * host::kSamplePeriodMs) + " ms";
}

void printRecordedDoubts(const std::vector<LabelledLaunch>& launches) {
    std::printf(
        "\n| recorded from a real program | its own word | endpoint | | verdict | with what "
        "was recorded behind | second opinion |\n|---|---|---|---|---|---|---|\n");
    for (const LabelledLaunch& launch : launches) {
        const std::size_t window = launch.series[Metric::kVmRss].size();
        const Analysis analysis = analyseByDefault(launch.series);
        const host::Verdict without = verdictOn(launch, analysis, looksAfter(window).front());
        const host::Verdict with = verdictOn(launch, analysis, looksAfter(window).back());
        const std::string endpoint =
            analysis.endpoint ? std::to_string(static_cast<int>(*analysis.endpoint) * 30) + " ms"
                              : "none";
        const char* judged = !analysis.endpoint                                     ? ""
                             : isWrong(analysis.endpoint, launch.settledAt, window) ? "wrong"
                                                                                    : "right";
        char opinion[48] = "none";
        if (with.opinion.settledAt)
            std::snprintf(opinion, sizeof(opinion), "%zu ± %.0f ms", *with.opinion.settledAt * 30,
                          with.opinion.errorSamples * 30);
        std::printf("| %s, %zu samples | %s | %s | %s | %s | %s | %s |\n", launch.name.c_str(),
                    window, labelOf(launch).c_str(), endpoint.c_str(), judged,
                    wordsOf(without).c_str(), wordsOf(with).c_str(), opinion);
    }
}

std::vector<std::vector<LabelledLaunch>> simulated(std::size_t window, std::uint32_t seed,
                                                   const ChanceRanges& ranges) {
    std::vector<std::vector<LabelledLaunch>> kinds;
    for (const LaunchKind kind : kAllKinds) {
        Random random(seed);
        kinds.emplace_back();
        for (int i = 0; i < kLaunchesPerKind; ++i)
            kinds.back().push_back(simulateLaunch(kind, window, random, ranges));
    }
    return kinds;
}

void printRecorded(const std::vector<LabelledLaunch>& launches) {
    printHead("recorded from a real program");
    for (const LabelledLaunch& launch : launches)
        printRow(launch.name + ", " + std::to_string(launch.series[Metric::kVmRss].size()) +
                     " samples, " + labelOf(launch),
                 {launch});
}

void printAll(const std::string& folder) {
    for (const std::size_t window : kWindows) {
        const auto kinds = simulated(window, kSeed, {});
        printHead(std::to_string(window) + " samples, simulated");
        for (const std::vector<LabelledLaunch>& launches : kinds)
            printRow(launches.front().name, launches);
        printDoubts(window, kinds);
        printDoubtsByKind(window, kinds);
        printSecondOpinion(window, kinds);
    }
    const std::vector<LabelledLaunch> recorded = readRecordings(folder);
    printRecorded(recorded);
    printRecordedDoubts(recorded);
    std::printf("\nThe same with another seed, other lengths, growth, noise and steps:\n");
    for (const std::size_t window : kWindows) {
        const auto kinds = simulated(window, kOtherSeed, kOtherRanges);
        printDoubts(window, kinds);
        printSecondOpinion(window, kinds);
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
        printAll(argv[1]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        return 3;
    }
    return 0;
}
