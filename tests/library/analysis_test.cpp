// The analysis: known answers, a naive ranking, and recorded launches.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <sstream>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::ElementsAre;
using Ints = std::vector<std::int32_t>;
using Freq = std::unordered_map<std::int32_t, std::int32_t>;

class AnalysisTest : public testing::Test {
protected:
    AnalysisTest() { framework().reset(); }

    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
};

std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

TEST_F(AnalysisTest, AgeGrowsByTwelfthsAndTheRemainderIsNewest) {
    ASSERT_EQ(mPeer.ageTable.size(), 12U);
    EXPECT_EQ(bitsOf(mPeer.ageTable[0]), 0x39FFFFF7U);  // not the power of two
    EXPECT_EQ(bitsOf(mPeer.ageTable[1]), 0x3A800004U);
    for (int segment = 2; segment < 12; ++segment) {
        EXPECT_EQ(mPeer.ageTable[static_cast<std::size_t>(segment)],
                  std::ldexp(1.0F, segment - 11));
    }
    for (const std::size_t size : {0U, 1U, 11U, 12U, 23U, 24U, 100U, 2000U}) {
        std::vector<float> expected;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t segment = size < 12 ? 0 : std::min<std::size_t>(i / (size / 12), 11);
            expected.push_back(mPeer.ageTable[segment]);
        }
        std::vector<float> ages;
        mLearner.accessDataPtAge(Ints(size), ages);
        EXPECT_EQ(ages, expected) << size;
        mLearner.accessDataPtAge(Ints(size), ages);
        EXPECT_EQ(ages.size(), 2 * size);  // appended to, never emptied
    }
}

/// The ranking as its description has it: every kept count, from the highest,
/// looked up in a multimap of all entries.
Ints naiveTop(const Freq& freq, bool isLongLaunch) {
    std::multimap<std::int32_t, std::int32_t> byCount;
    Ints counts;
    const std::map<std::int32_t, std::int32_t, std::greater<>> largerFirst(freq.begin(),
                                                                           freq.end());
    for (const auto& [value, count] : largerFirst) {
        byCount.emplace(count, value);
        counts.push_back(count);
    }
    std::sort(counts.rbegin(), counts.rend());
    if (counts.size() > 12) counts.resize(12);
    Ints top;
    for (const std::int32_t count : counts) {
        const float share = static_cast<float>(count) / static_cast<float>(counts.front());
        if (!isLongLaunch && share < 0.75F) break;
        const auto [first, last] = byCount.equal_range(count);
        for (auto entry = first; entry != last; ++entry) {
            top.push_back(entry->second);
            if (top.size() == 12) return top;
        }
    }
    return top;
}

TEST_F(AnalysisTest, RankingEqualsTheNaiveOneOnRandomSeries) {
    std::mt19937 random(7);
    Ints sizes = {100, 2000};
    for (int size = 0; size <= 40; ++size)
        sizes.push_back(size);
    for (const std::int32_t size : sizes) {
        for (const std::int32_t distinct : {1, 2, 5, 12, 13, 30, 1'000'000'000}) {
            Ints series(static_cast<std::size_t>(size));
            for (std::int32_t& value : series)
                value = static_cast<std::int32_t>(random() % static_cast<unsigned>(distinct)) - 3;
            Freq freq;
            mLearner.countFrequentElem(series, freq);
            for (const std::int32_t type : {1, 2}) {
                Ints top = {99};  // replaced
                mPeer.setLaunchType(type);
                mLearner.topFrequentElem(freq, top);
                EXPECT_EQ(top, naiveTop(freq, type == 2)) << testing::PrintToString(series);
            }
        }
    }
}

TEST_F(AnalysisTest, RankingCutsAtThreeQuartersRepeatsEqualCountsAndLogsWhatItWalked) {
    const std::string cut = "not accumulating further freq now = ";
    struct {
        Freq freq;
        std::int32_t launchType;
        Ints top;
        std::string log;
    } const cases[] = {
        {{}, 1, {}, ""},
        {{{70, 8}, {90, 6}}, 1, {70, 90}, "debugTopVals = 8 6 "},
        {{{70, 8}, {90, 5}}, 1, {70}, cut + "5; debugTopVals = 8 "},
        {{{1, 5}, {2, 5}, {3, 3}}, 1, {2, 1, 2, 1}, cut + "3; debugTopVals = 5 5 "},
        {{{1, 5}, {2, 5}, {3, 3}}, 2, {2, 1, 2, 1, 3}, "debugTopVals = 5 5 3 "},
        {{{1, 1}, {2, 1}, {3, 1}, {4, 1}},
         0,
         {4, 3, 2, 1, 4, 3, 2, 1, 4, 3, 2, 1},
         "debugTopVals = 1 1 1 "},
    };
    LogCapture log(3);
    for (const auto& c : cases) {
        Ints top;
        mPeer.setLaunchType(c.launchType);
        mLearner.topFrequentElem(c.freq, top);
        EXPECT_EQ(top, c.top) << testing::PrintToString(c.freq);
        EXPECT_EQ(log.take(), c.log) << testing::PrintToString(c.freq);
    }
    Freq twice;
    mLearner.countFrequentElem({4, 4, -1}, twice);
    mLearner.countFrequentElem({4, 4, -1}, twice);
    EXPECT_EQ(twice, (Freq{{4, 4}, {-1, 2}}));
}

TEST_F(AnalysisTest, YoungestIsTheMiddleOfCloseValuesElseTheMostRecentOne) {
    Ints recent200(88, 100);
    recent200.resize(100, 200);
    Ints tie(22, 1);
    tie.insert(tie.end(), {500, 100});
    struct {
        Ints top, data;
        std::int32_t youngest;
        const char* log;  // the last line that is not about an age
    } const cases[] = {
        {{}, {}, 0, "diffList "},
        {{900, 950, 980}, {}, 940, "setMinAsFreq True min  900\n"},
        {{0, 500}, {}, 250, "setMinAsFreq True min  0\n"},
        {{100, 110}, {}, 105, "setMinAsFreq True min  100\n"},
        {{-7, -8}, {}, -7, "setMinAsFreq True min  -8\n"},  // divided by -7: a negative difference
        {{2147483647, 2147483647}, {}, -1, "setMinAsFreq True min  2147483647\n"},  // wraps
        {{100, 111}, Ints(11, 111), 0, "diffList 0 111-  100 = 11.000000 "},        // all ages 0
        {{100, 200}, recent200, 200, "diffList 0 200-  100 = 100.000000 "},
        {{100, 500}, tie, 100, "diffList 0 500-  100 = 400.000000 "},
        {{500, 100}, tie, 500, "diffList 0 100-  500 = 80.000000 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.top));
        std::vector<float> ages;
        mLearner.accessDataPtAge(c.data, ages);
        LogCapture log(3);
        EXPECT_EQ(mLearner.getYoungest(c.top, ages, c.data), c.youngest);
        const std::string texts = log.take();
        const std::string last = texts.substr(0, texts.find("; setMinAsFreq True min  maxAge"));
        EXPECT_EQ(last.substr(last.size() - std::strlen(c.log)), c.log);
    }
    LogCapture log(3);
    EXPECT_EQ(mLearner.getYoungest({5}, std::vector<float>(3), Ints(2, 5)), 0);
    mLearner.getYoungest({100, 200}, std::vector<float>(12, 1.0F),
                         {100, 100, 200, 1, 1, 1, 1, 1, 1, 1, 1, 1});
    EXPECT_EQ(log.take(),
              "elemAges.size(3) != dataPt.size(2); diffList 0 200-  100 = 100.000000 ; "
              "setMinAsFreq True min  maxAge 0,newAge 2,maxAgeElem 0\n; "
              "setMinAsFreq True min  maxAge 2,newAge 1,maxAgeElem 100\n");
}

TEST_F(AnalysisTest, DifferenceIsRelativeOnlyAboveOneAndKeepsTheSignOfItsBase) {
    const float cases[][3] = {{5, 0.5F, 450}, {0, -4, -100}, {4, 1, 300},
                              {90, 100, 10},  {7, 7, 0},     {0, 0, 0}};
    for (const auto& [a, b, expected] : cases) {
        EXPECT_FLOAT_EQ(OrvoLearner::calcDiffPercentage(a, b), expected) << a << " from " << b;
    }
}

TEST_F(AnalysisTest, EndpointIsTheStartOfTheFirstLongRunElseOfTheLastRun) {
    const Ints peaked = {10, 80, 60, 50, 51, 50, 49, 50, 50};
    struct {
        std::int32_t target;
        Ints data;
        std::int32_t tolerance, streak, endpoint;
    } const cases[] = {
        {50, peaked, 5, 5, 3},
        {50, peaked, 5, 6, 3},
        {50, peaked, 5, 10, 3},  // never complete: the last run's start
        {50, {}, 5, 5, 0},
        {50, {10}, 5, 5, 0},
        {50, {10, 50}, 5, 1, 1},
        {50, {50, 50, 10, 50, 10}, 5, 2, 0},  // the first run is just long enough
        {50, {10, 50, 51, 10, 50}, 5, 0, 1},  // a streak below 1 ends at once
        {50, {50, 50, 10, 50, 50, 50}, 5, 3, 3},
        {50, {50, 50, 10, 50, 10, 10}, 5, 3, 3},
        {100, {95, 96, 100}, 5, 1, 1},  // 5 % is not below the tolerance
        {50, {80, 50, 80, 50, 50}, 5, 2, 3},
        {50, {50, 80, 50, 50}, 5, 2, 2},      // the target comes before the peak
        {80, {1, 80, 1, 80, 80}, 5, 2, 3},    // the peak is the target
        {79, {1, 80, 1, 79, 79}, 5, 1, 3},    // the peak, though close, is skipped
        {79, {1, 80, 2, 80, 80}, 5, 1, 3},    // no 79: halving stops at 3, past the peak
        {81, {1, 80, 1}, 5, 1, 0},            // no 81: halving ends past the end
        {70, {71, 60, 60, 60, 70}, 5, 1, 4},  // the peak at index 0 is skipped as well
    };
    LogCapture log(3);
    for (const auto& c : cases) {
        EXPECT_EQ(mLearner.calculateEndp(c.target, c.data, c.tolerance, c.streak), c.endpoint)
            << c.target << " in " << testing::PrintToString(c.data) << " streak " << c.streak;
    }
    EXPECT_EQ(log.texts()[0], "naturalResidency = 50, data_sz = 9, evalCritera = 5, streak = 5\n");
    EXPECT_EQ(log.texts()[1], "naturalResidency 50 EndPoint IDX 3\n");
}

TEST_F(AnalysisTest, ConclusionNeedsTheStreakOfItsLaunchType) {
    const std::vector<EpTriple> steady = {
        {100, 40, 40}, {101, 40, 40}, {100, 40, 40}, {100, 41, 40}};
    const std::vector<EpTriple> outlived = {{40, 5, 5}, {40, 9, 1}, {31, 5, 5},
                                            {32, 9, 1}, {32, 5, 5}, {32, 9, 1}};
    const std::vector<EpTriple> fdOnly = {{10, 90, 7}, {20, 60, 7}, {40, 30, 7},
                                          {80, 10, 7}, {99, 3, 7},  {33, 1, 7}};
    const std::vector<EpTriple> fdShort(fdOnly.begin(), fdOnly.begin() + 5);
    const std::vector<EpTriple> zeros(6, {0, 0, 0});
    struct {
        std::int32_t type, subType;
        std::vector<EpTriple> history;  // grows entry by entry, concluded after each
        bool decided;
        std::int32_t epIdx;
        const char* lastLine;
    } const cases[] = {
        {1, 0, {{12, 30, 7}}, true, 30, ""},
        {1, 0, {{0, 0, 0}}, false, 0, ""},
        {2, 0, {{12, 30, 7}}, false, 0, ""},
        {2, 0, {{9, 9, 9}, {9, 9, 9}, {9, 9, 9}}, false, 0, "avg - ForGame(1) {2,2,2}  = p ="},
        {2, 0, steady, true, 101, "avg - ForGame(1) {3,3,3}  = p ="},
        {2, 1, steady, false, 0, "avg - ForGame(1) {3,3,3}  = p ="},
        {2, 1, {{100, 9, 9}, {101, 9, 9}, {9, 9, 9}, {9, 9, 9}, {9, 9, 9}}, true, 101, "{2,4,4}"},
        {2, -1, {{50, 9, 1}, {50, 9, 4}}, true, 50, "avg - ForGame(1) {1,1,0}  = p ="},
        {2, 0, {{9, 1, 1}, {9, 5, 5}, {9, 1, 1}, {9, 5, 5}}, true, 9, "{3,0,0}"},
        {2, 1, fdOnly, true, 7, "{0,0,5}"},
        {2, 1, fdShort, false, 0, "{0,0,4}"},
        {2, 0, {{110, 110, 110}, {100, 100, 100}}, false, 0, "{0,0,0}"},  // 10 % of the later
        {2, 0, outlived, true, 40, "{3,0,0}"},  // the maximum outlives its streak
        {2, 0, zeros, false, 0, "{5,5,5}"},     // a candidate below 1 decides nothing
    };
    for (const auto& c : cases) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        peer.setLaunchType(c.type, c.subType);
        peer.appName = "p";
        LogCapture log(3);
        for (const EpTriple& entry : c.history) {
            EXPECT_FALSE(peer.decided);
            peer.history.push_back(entry);
            learner.concludeEp(0);
        }
        const std::string lastLine = log.texts().empty() ? "" : log.texts().back();
        SCOPED_TRACE(lastLine + " type " + std::to_string(c.type) + "." +
                     std::to_string(c.subType));
        EXPECT_EQ(peer.decided, c.decided);
        EXPECT_EQ(peer.epIdx, c.epIdx);
        EXPECT_NE(lastLine.find(c.lastLine), std::string::npos);
    }
}

TEST_F(AnalysisTest, OneStableMetricDecidesOnlyWhereTheOthersHaveNoData) {
    struct {
        std::int32_t type, epIdx;
        std::vector<EpTriple> history;
        std::int32_t epIdxAfter;
        const char* line;
    } const cases[] = {
        {1, 0, {{9, 0, 50}, {1, 9, 50}}, 50, "Final Ep by dataUnavailable 50\n"},
        {2, 0, {{9, 0, 50}, {1, 9, 50}}, 0, ""},              // more evaluations to come
        {1, 3, {{9, 0, 50}, {1, 9, 50}}, 3, ""},              // has a candidate
        {1, 0, {{9, 0, 50}, {1, 9, 50}, {2, 1, 90}}, 0, ""},  // none stable at the end
        {1, 0, {{9, 0, 0}, {1, 9, 0}}, 0, "Final Ep by dataUnavailable 0\n"},
    };
    for (const auto& c : cases) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        peer.setLaunchType(c.type, 1);  // a subtype for which one metric does not decide
        peer.epIdx = c.epIdx;
        peer.history = c.history;
        LogCapture log;
        learner.concludeEp(0);
        SCOPED_TRACE(testing::PrintToString(c.epIdxAfter) + c.line);
        EXPECT_EQ(peer.epIdx, c.epIdxAfter);
        EXPECT_EQ(peer.decided, c.epIdxAfter > c.epIdx);
        EXPECT_EQ(log.take(), c.line);
    }
}

TEST_F(AnalysisTest, DecidedLaunchIsNotEvaluatedAgainAndIntermediatesAreClearedAlone) {
    // Below 1 % of 1000 for the memory, below 5 % for the others.
    mPeer.setSeries({10, 990, 991, 1000, 1000}, {10, 950, 951, 1000, 1000},
                    {1, 38, 39, 40, 40, 40});
    mLearner.churnForStablizingPoints(-77, 5);  // a bias changes nothing
    EXPECT_TRUE(mPeer.decided);
    EXPECT_EQ(mPeer.epIdx, 2);
    EXPECT_THAT(mPeer.youngest(), ElementsAre(1000, 1000, 40));
    LogCapture log(3);
    mLearner.churnForStablizingPoints(1, 5);
    EXPECT_EQ(log.take(),
              "vmRssBias=1, streak=5\n; mEpDecided Active EndPoint * * * IDX 2 * * *\n");
    EXPECT_EQ(mPeer.history.size(), 1U);
    mLearner.clearIntermediates();
    EXPECT_TRUE(mPeer.isWithoutIntermediates());
    EXPECT_THAT(mPeer.endpoints(), ElementsAre(2, 2, 2));
    EXPECT_THAT(mPeer.youngest(), ElementsAre(1000, 1000, 40));
    EXPECT_EQ(mPeer.history.size(), 1U);
    mLearner.clearAll();
    EXPECT_TRUE(mPeer.history.empty() && mPeer.vmRss.empty() && mPeer.oomScore.empty());
    EXPECT_FALSE(mPeer.decided);
    EXPECT_EQ(mPeer.epIdx, 0);
    EXPECT_EQ(mPeer.fdCounts(), 0U);
    EXPECT_THAT(mPeer.endpoints(), ElementsAre(2, 2, 2));
}

Ints nextSeries(std::istream& file) {
    std::string line;
    std::getline(file, line);
    std::istringstream numbers(line);
    return {std::istream_iterator<std::int32_t>(numbers), {}};
}

Ints firstOf(const Ints& series, std::size_t count) {
    return {series.begin(), series.begin() + static_cast<std::ptrdiff_t>(count)};
}

// The same endpoints with every compiler, standard library, machine and locking.
// Each record: name, type, subtype, then what an independent implementation
// makes of the series (decided, index, the last three endpoints); the series of
// memory, score and descriptors, sampled from a program or simulated (sim-).
TEST_F(AnalysisTest, GoldenLaunchesGetTheirEndpointsInEveryBuild) {
    std::ifstream file(ORVO_TEST_DATA_DIR "/golden_endpoints.txt");
    std::string head;
    int launches = 0;
    for (; std::getline(file, head); ++launches) {
        std::istringstream fields(head);
        std::string name;
        fields >> name;
        const Ints expected{std::istream_iterator<std::int32_t>(fields), {}};
        const Ints vmRss = nextSeries(file);
        const Ints oom = nextSeries(file);
        const Ints fd = nextSeries(file);
        ASSERT_EQ(expected.size(), 7U);
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        const bool isLong = expected[0] == 2;
        peer.setLaunchType(expected[0], expected[1]);
        for (std::size_t i = 166; isLong && i < vmRss.size() && !peer.decided; i += 167) {
            peer.setSeries(firstOf(vmRss, i + 1), firstOf(oom, i + 1), firstOf(fd, i + 1));
            learner.churnForStablizingPoints(0, 10);
            learner.clearIntermediates();
        }
        if (!peer.decided) {
            peer.setSeries(vmRss, oom, fd);
            learner.churnForStablizingPoints(0, isLong ? 10 : 5);
        }
        const Ints endpoints = peer.endpoints();
        EXPECT_EQ((Ints{expected[0], expected[1], peer.decided ? 1 : 0, peer.epIdx, endpoints[0],
                        endpoints[1], endpoints[2]}),
                  expected)
            << name;
    }
    EXPECT_EQ(launches, 18);
}

}  // namespace
