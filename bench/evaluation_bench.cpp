// One evaluation of three series, beside one pass over them and beside the
// change-point searches that would be used instead.
#include <algorithm>
#include <numeric>
#include <vector>

#include "bench/change_points.h"
#include "bench/series.h"
#include "bench/topics.h"
#include "host/dump/learner_peer.h"
#include "learner/launch_type.h"

namespace {

constexpr std::uint32_t kSeed = 20240501;

// A launch in which values repeat as they do in real ones: growth in steps for
// a part of the window, then a level.
LaunchSeries repeatingSeries(std::size_t samples) {
    Random random(kSeed);
    return simulateLaunch(LaunchKind::kSteps, samples, random).series;
}

// The same lengths, every value met once in its series, in no order.
LaunchSeries distinctSeries(std::size_t samples) {
    Random random(kSeed);
    const auto shuffled = [&](std::int32_t base) {
        std::vector<std::int32_t> values(samples);
        std::iota(values.begin(), values.end(), base);
        for (std::size_t i = samples; i > 1; --i)
            std::swap(values[i - 1],
                      values[static_cast<std::size_t>(random.uniform(0, static_cast<double>(i)))]);
        return values;
    };
    return {{shuffled(100'000), shuffled(500), shuffled(20)}};
}

// The peak and its place: the least that says anything of a series.
struct Peak {
    std::int32_t value = 0;
    std::size_t at = 0;
};

Peak peakOf(const std::vector<std::int32_t>& values) {
    Peak peak{values[0], 0};
    for (std::size_t i = 1; i < values.size(); ++i) {
        if (values[i] > peak.value) peak = {values[i], i};
    }
    return peak;
}

// One evaluation, and then all of it forgotten but the series.
host::Series evaluateOnce(OrvoLearner& learner, OrvoLearnerPeer& peer, std::int32_t streak) {
    learner.churnForStablizingPoints(0, streak);
    learner.clearIntermediates();
    peer.history.clear();
    peer.decided = false;
    peer.epIdx = 0;
    return peer.endpoints();
}

void timeEvaluation(Session& session, const std::string& name, const LaunchSeries& series,
                    std::int32_t launchType) {
    session.add(name, [&series, launchType](benchmark::State& state) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        peer.setLaunchType(launchType);
        peer.setSeries(series.values[0], series.values[1], series.values[2]);
        const std::int32_t streak =
            launchType == kLongLaunchType ? host::kLongLaunchStreak : host::kShortLaunchStreak;
        const host::Series expected = evaluateOnce(learner, peer, streak);
        for (auto _ : state) {
            if (evaluateOnce(learner, peer, streak) == expected) continue;
            state.SkipWithError("another endpoint than before");
            break;
        }
    });
}

void timePass(Session& session, const std::string& name, const LaunchSeries& series) {
    session.add(name, [&series](benchmark::State& state) {
        for (auto _ : state) {
            for (const host::Series& values : series.values) {
                Peak peak = peakOf(values);
                benchmark::DoNotOptimize(peak);
            }
        }
    });
}

template <typename Search>
void timeSearch(Session& session, const std::string& name, const LaunchSeries& series,
                Search search) {
    session.add(name, [&series, search](benchmark::State& state) {
        for (auto _ : state) {
            std::size_t changes = 0;
            for (const host::Series& values : series.values)
                changes += search(values, bicPenalty(values)).size();
            if (changes > 0) continue;
            state.SkipWithError("found no change");
            break;
        }
    });
}

std::int32_t launchTypeOf(std::size_t samples) {
    return samples > 100 ? kLongLaunchType : 1;
}

void benchLengths(Session& session) {
    const std::vector<std::size_t> lengths = {34, 100, 500, 1000, 2000};
    std::vector<LaunchSeries> series;
    for (const std::size_t length : lengths)
        series.push_back(repeatingSeries(length));
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const std::string length = std::to_string(lengths[i]);
        timeEvaluation(session, "evaluation/" + length, series[i], launchTypeOf(lengths[i]));
        timePass(session, "pass/" + length, series[i]);
    }
    session.run();

    Table& table = session.table();
    const std::string pass = "one pass over the series (the peak and its place)";
    table.tell("one evaluation of 3 series of 34 points", pass,
               session.ratio("evaluation/34", "pass/34"), "times");
    table.tell("one evaluation of 3 series of 100 points", pass,
               session.ratio("evaluation/100", "pass/100"), "times");
    table.atMost("one evaluation of 3 series of 2000 points", pass,
                 session.ratio("evaluation/2000", "pass/2000"), 40, "times");
    table.atMost("one evaluation of 3 series of 1000 points", "of 500 points",
                 session.ratio("evaluation/1000", "evaluation/500"), 2.2, "times");
    table.atMost("one evaluation of 3 series of 2000 points", "of 500 points",
                 session.ratio("evaluation/2000", "evaluation/500"), 4.4, "times");
}

void benchContents(Session& session) {
    constexpr std::size_t kSamples = 2000;
    const LaunchSeries repeating = repeatingSeries(kSamples);
    const LaunchSeries distinct = distinctSeries(kSamples);
    timeEvaluation(session, "repeats", repeating, kLongLaunchType);
    timeEvaluation(session, "distinct", distinct, kLongLaunchType);
    timeSearch(session, "pelt", repeating, pelt);
    timeSearch(session, "binseg", repeating, binarySegmentation);
    session.run();

    Table& table = session.table();
    table.atMost("one evaluation, 2000 points, every value distinct", "the same with repeats",
                 session.ratio("distinct", "repeats"), 3, "times");
    table.atLeast("one evaluation, 2000 points: times faster than", "plain C++ PELT (l2)",
                  session.ratio("pelt", "repeats"), 75);
    table.atMost("one evaluation, 2000 points", "plain C++ binary segmentation (l2)",
                 session.ratio("repeats", "binseg"), 1.5, "times");
}

}  // namespace

void benchEvaluation(const Effort& effort, Table& table) {
    Session session("evaluation", effort, table);
    benchLengths(session);
    benchContents(session);
}
