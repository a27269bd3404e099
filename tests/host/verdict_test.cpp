// What speaks against an endpoint, and when the second opinion has it.
#include "host/verdict/verdict.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "host/library/judged_launch.h"
#include "host/verdict/noise.h"
#include "host/verdict/verdict_text.h"
#include "host/verdict/window_choice.h"
#include "tests/host/recorded_text.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Memory = std::vector<std::int32_t>;

Memory operator+(Memory head, const Memory& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

Memory level(std::size_t samples, std::int32_t kb) {
    Memory memory;
    memory.resize(samples, kb);
    return memory;
}

// From `fromKb` on, by `stepKb` a sample.
Memory ramp(std::size_t samples, std::int32_t fromKb, std::int32_t stepKb) {
    Memory memory;
    for (std::size_t i = 0; i < samples; ++i)
        memory.push_back(fromKb + static_cast<std::int32_t>(i) * stepKb);
    return memory;
}

// Off by up to `kb` either way, without a pattern of so few samples.
Memory shaken(Memory memory, std::int32_t kb) {
    std::uint32_t state = 1;
    for (std::int32_t& value : memory) {
        state = state * 1664525U + 1013904223U;
        value += static_cast<std::int32_t>(state >> 16U) % (2 * kb + 1) - kb;
    }
    return memory;
}

// Of a window of 34 samples and what follows it.
SeenLaunch launch(Memory memory, std::optional<std::size_t> endpoint) {
    SeenLaunch launch;
    launch.memoryKb = std::move(memory);
    launch.window = 34;
    launch.seen = std::min<std::size_t>(34, launch.memoryKb.size());
    launch.endpoint = endpoint;
    return launch;
}

std::vector<Doubt> doubts(Memory memory, std::optional<std::size_t> endpoint) {
    return verdictOn(launch(std::move(memory), endpoint)).doubts;
}

std::optional<std::size_t> settledAt(const Memory& memory) {
    return secondOpinion(memory, kShortStreak).settledAt;
}

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
const Memory kSettles = ramp(12, 20'000, 2000) + level(22, 44'000);

TEST(SecondOpinion, FindsWhereTheLastLevelBegins) {
    const Memory drops = ramp(12, 20'000, 3000) + level(22, 44'000);
    Memory spiked = kSettles + level(34, 44'000);
    spiked[20] = 60'000;
    spiked[27] = spiked[28] = 50'000;
    Memory teeth = ramp(12, 20'000, 2000);
    for (int i = 0; i < 11; ++i)
        teeth = teeth + ramp(5, 44'000, 1000);
    Memory longTeeth = ramp(100, 20'000, 400);
    for (int i = 0; i < 15; ++i)
        longTeeth = longTeeth + ramp(20, 60'000, 300);
    const Memory longRamp = ramp(200, 20'000, 200) + level(600, 60'000);
    Memory lots = longRamp;
    for (std::int32_t& kb : lots)
        kb = 20'000 + (kb - 20'000) / 130 * 130;
    const struct {
        const char* name;
        Memory memory;
        std::size_t sample;
        std::size_t within;
    } cases[] = {
        {"ramp", kSettles, 12, 0},
        {"step", level(20, 10'000) + level(14, 10'400), 20, 0},
        {"less than the tolerance", level(20, 10'000) + level(14, 10'080), 0, 0},
        {"fall", drops, 12, 0},
        {"noise above the tolerance", shaken(kSettles + level(34, 44'000), 1200), 12, 2},
        {"spikes that come back", spiked, 12, 0},
        {"a last sample that may be one", kSettles + Memory{60'000}, 12, 0},
        {"a collector's teeth", teeth, 12, 4},
        {"long teeth", longTeeth, 100, 10},
        {"a long ramp, to its very end", longRamp, 200, 0},
        {"a long ramp in lots", lots, 200, 1},
        {"a long ramp under noise", shaken(longRamp, 1500), 200, 8},
        {"a step after the window", kSettles + level(10, 44'000) + level(24, 50'000), 44, 0},
    };
    for (const auto& one : cases) {
        const auto sample = settledAt(one.memory);
        ASSERT_TRUE(sample) << one.name;
        EXPECT_LE(std::max(*sample, one.sample) - std::min(*sample, one.sample), one.within)
            << one.name << ": " << *sample;
    }
}

TEST(SecondOpinion, AnEverSlowerApproachHasSettledWhereItComesWithinTheTolerance) {
    Memory memory;
    for (double missing = 30'000; memory.size() < 68; missing *= 0.8)
        memory.push_back(60'000 - static_cast<std::int32_t>(missing));
    const SecondOpinion opinion = secondOpinion(memory, kShortStreak);
    EXPECT_NEAR(static_cast<double>(opinion.settledAt.value_or(0)), 18, 1);  // 59400 kB
    EXPECT_GE(opinion.errorSamples, 2) << "half and twice the tolerance are samples apart";
}

TEST(SecondOpinion, HasNoneWhereMemoryDoesNotEndAtALevel) {
    EXPECT_EQ(secondOpinion(level(9, 5000), kShortStreak).ending, Ending::kTooShort);
    EXPECT_EQ(secondOpinion(ramp(68, 20'000, 400), kShortStreak).ending, Ending::kGrowing);
    EXPECT_EQ(secondOpinion(kSettles + ramp(8, 46'000, 2000), kShortStreak).ending,
              Ending::kGrowing);
    EXPECT_EQ(secondOpinion(level(64, 50'000) + level(4, 60'000), kShortStreak).ending,
              Ending::kGrowing);
    const SecondOpinion drift =
        secondOpinion(ramp(12, 20'000, 2000) + ramp(56, 44'000, 40), kShortStreak);
    EXPECT_EQ(drift.ending, Ending::kDrifting);
    EXPECT_FALSE(drift.settledAt);
    EXPECT_NEAR(static_cast<double>(drift.driftsFrom.value_or(0)), 12, 1);
    EXPECT_NEAR(drift.slopeKb, 40, 4);
}

TEST(SecondOpinion, ExtremesStayFinite) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    const Memory cases[] = {{},
                            {7},
                            level(34, 0),
                            level(34, kMost),
                            level(20, 0) + level(14, kMost),
                            level(20, kMost) + level(14, 0),
                            level(17, 1) + ramp(17, 0, kMost / 17)};
    for (const Memory& memory : cases) {
        const Verdict verdict = verdictOn(launch(memory, 3));
        EXPECT_TRUE(std::isfinite(verdict.opinion.noisePercent + verdict.opinion.slopeKb +
                                  verdict.opinion.levelKb + verdict.opinion.errorSamples))
            << memory.size();
        for (const Doubt doubt : verdict.doubts)
            EXPECT_NE(doubtSentence(doubt, launch(memory, 3), verdict), "");
    }
    EXPECT_EQ(settledAt(level(20, 0) + level(14, kMost)), 20U);
}

TEST(Verdict, AnEndpointAtTheLevelsBeginHasNoDoubt) {
    EXPECT_THAT(doubts(kSettles, 12), IsEmpty());
    EXPECT_THAT(doubts(kSettles, 15), IsEmpty()) << "3 samples are allowed";
    EXPECT_THAT(doubts(kSettles, 16), ElementsAre(Doubt::kLate));
    EXPECT_THAT(doubts(shaken(kSettles + level(34, 44'000), 1200), 13), IsEmpty())
        << "noise that did not move it";
    EXPECT_THAT(doubts(ramp(12, 20'000, 2000) + ramp(56, 44'000, 40), 12), IsEmpty())
        << "drift that did not";
    EXPECT_THAT(doubts(kSettles, {}), IsEmpty()) << "undecided, and nothing to say why";
}

TEST(Verdict, EachDoubtHasItsCause) {
    // Of a process so small that a page is much.
    EXPECT_THAT(doubts(level(34, 112), std::nullopt), ElementsAre(Doubt::kFlat));
    const Memory noisy = shaken(kSettles + level(34, 44'000), 1200);
    const Memory rests = level(2, 20'000) + level(18, 30'000) + level(14, 44'000);
    EXPECT_THAT(doubts(level(9, 5000), 3), ElementsAre(Doubt::kTooFewSamples));
    EXPECT_THAT(doubts(ramp(34, 20'000, 800), 12), ElementsAre(Doubt::kGrowing));
    EXPECT_THAT(doubts(ramp(12, 20'000, 2000) + ramp(56, 44'000, 40), 30),
                ElementsAre(Doubt::kDrifting));
    EXPECT_THAT(doubts(level(34, 5000), {}), ElementsAre(Doubt::kFlat));
    EXPECT_THAT(doubts(kSettles + level(34, 50'000), 12), ElementsAre(Doubt::kAtRest));
    EXPECT_THAT(doubts(rests, 20), ElementsAre(Doubt::kAtRest)) << "quiet for less than before";
    EXPECT_THAT(doubts(rests + level(4, 44'000), 20), IsEmpty()) << "as long as before";
    EXPECT_THAT(doubts(noisy, 31), ElementsAre(Doubt::kMakeshift, Doubt::kNoisy));
    EXPECT_THAT(doubts(noisy, {}), ElementsAre(Doubt::kNoisy));
}

TEST(Verdict, AnEndpointThatAnotherMetricPutLateIsNotMemorysToDoubt) {
    SeenLaunch late = launch(kSettles, 25);
    late.isByMemory = false;
    EXPECT_THAT(verdictOn(late).doubts, IsEmpty());
}

/// Fed as by a probing launch, which judges every few looks.
WindowChoice choiceOf(const Memory& memory, bool ends) {
    for (std::size_t seen = 0;; seen = std::min(seen + 5, memory.size())) {
        const Memory now(memory.begin(), memory.begin() + static_cast<std::ptrdiff_t>(seen));
        const auto choice = chooseWindow(now, ends && seen == memory.size());
        if (choice || seen == memory.size()) return choice.value_or(WindowChoice{});
    }
}

TEST(WindowChoice, TheShortestThatShowsTheLevelForLongerThanAnyRestBeforeIt) {
    const auto grows = [](std::size_t samples) {
        return ramp(samples, 20'000, 2000) +
               level(kLongWindow, 20'000 + 2000 * static_cast<std::int32_t>(samples));
    };
    const auto rests = [](std::size_t samples) {
        return ramp(5, 20'000, 2000) + level(samples, 30'000) + level(kLongWindow, 44'000);
    };
    const Memory leaks = ramp(kLongWindow, 20'000, 40);
    const Memory drifts = ramp(300, 20'000, 200) + ramp(kLongWindow, 80'000, 6);
    const struct {
        const char* name;
        Memory memory;
        bool ends;
        const char* window;
        std::size_t settledAt;
        std::size_t seen;
    } cases[] = {
        {"quick", grows(4), false, "short", 4, 100},
        {"late in the short window", grows(19), false, "short", 19, 100},
        {"too late in it", grows(20), false, "extended", 20, 100},
        {"950 ms", grows(32), false, "extended", 32, 100},
        {"seen as long again", grows(79), false, "extended", 79, 160},
        {"too late in the extended window", grows(80), false, "long", 80, 160},
        {"20 s", grows(660), false, "long", 660, 1320},
        {"a rest longer than what is left", rests(15), false, "extended", 20, 100},
        {"a rest that leaves enough", rests(8), false, "short", 13, 100},
        {"a rest of two seconds", rests(70), false, "long", 75, 215},
        {"level from the first look on", level(300, 5000), false, "short", 0, 200},
        {"level, and then it begins", level(150, 5000) + grows(20), false, "long", 170, 470},
        {"a leak", leaks, false, "long", kNone, 2000},
        {"a slow drift behind the growth", drifts, false, "long", 296, 2000},
        {"level for too short in the minute", ramp(1500, 20'000, 40) + level(500, 80'000), false,
         "long", 1500, 2000},
        {"ends while it grows", ramp(50, 20'000, 900), true, "short", kNone, 50},
        {"ends, settled", ramp(9, 20'000, 900) + level(20, 28'100), true, "short", 9, 29},
        {"ends at once", level(3, 5000), true, "short", kNone, 3},
    };
    for (const auto& one : cases) {
        const WindowChoice choice = choiceOf(one.memory, one.ends);
        EXPECT_STREQ(windowName(choice.window), one.window) << one.name;
        EXPECT_EQ(choice.settledAt().value_or(kNone), one.settledAt) << one.name;
        EXPECT_EQ(choice.seen, one.seen) << one.name;
    }
}

TEST(Verdict, TheRemedyIsTheShortestWindowThatShowsTheLevel) {
    const auto remedy = [](SeenLaunch seen, std::size_t window) {
        seen.window = window;
        return remedyOption(seen, verdictOn(seen)).value_or("none");
    };
    const SeenLaunch settlesSoon = launch(kSettles + level(34, 50'000), 12);
    EXPECT_EQ(remedy(settlesSoon, 34), "--window extended");
    EXPECT_EQ(remedy(settlesSoon, 100), "--window long");
    EXPECT_EQ(remedy(settlesSoon, 2000), "none");
    EXPECT_EQ(remedy(launch(kSettles + level(62, 44'000) + level(34, 50'000), 12), 34),
              "--window long")
        << "after 96 samples, which leaves no run of 5";
    EXPECT_EQ(remedy(launch(kSettles, 20), 34), "none") << "late: more time does not help";
}

TEST(Verdict, WhatIsToldCarriesTheFiguresAndCountsFromWhereTheEndpointDoes) {
    const SeenLaunch launches[] = {
        launch(kSettles + level(34, 50'000), 12),
        launch(level(2, 20'000) + level(18, 30'000) + level(14, 44'000), 20),
        launch(ramp(34, 20'000, 800), 12),
        launch(ramp(34, 60'000, -800), 12),
        launch(kSettles, 20),
        launch(kSettles, 12),
    };
    std::string told;
    for (const SeenLaunch& seen : launches) {
        const JudgedLaunch judged(seen);
        const Assessment kept = assessmentOf(judged, 7);
        ASSERT_TRUE(kept.doubts) << "judged";
        told += doubtNames(kept) + ": " + doubtText(judged) + "; opinion " + opinionText(kept) +
                (differs(seen, judged.verdict.opinion) ? ", another\n" : "\n");
    }
    expectRecorded("doubts", told);
    EXPECT_EQ(doubtName("of_later"), "of_later");
}

}  // namespace
}  // namespace host
