// The analysis: known answers, and launches recorded from real programs.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <sstream>
#include <stdexcept>

#include "tests/library/peers.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using Ints = std::vector<std::int32_t>;
using Freq = std::unordered_map<std::int32_t, std::int32_t>;

class AnalysisTest : public testing::Test {
protected:
    AnalysisTest() { framework().reset(); }

    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
};

TEST_F(AnalysisTest, AgeGrowsByTwelfthsAndTheRemainderIsNewest) {
    const std::vector<float>& table = mPeer.ageTable;
    ASSERT_EQ(table.size(), 12U);
    EXPECT_EQ(table[0], std::ldexp(16777207.0F, -35));  // not the power of two
    EXPECT_EQ(table[1], std::ldexp(8388612.0F, -33));
    for (std::size_t segment = 2; segment < 12; ++segment)
        EXPECT_EQ(table[segment], std::ldexp(1.0F, static_cast<int>(segment) - 11));
    std::vector<float> ages;
    mLearner.accessDataPtAge(Ints(11), ages);
    EXPECT_EQ(ages, std::vector<float>(11, table[0]));
    ages.clear();
    mLearner.accessDataPtAge(Ints(35), ages);
    ASSERT_EQ(ages.size(), 35U);
    for (std::size_t i = 0; i < ages.size(); ++i)
        EXPECT_EQ(ages[i], table[std::min<std::size_t>(i / 2, 11)]) << i;
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
        {{{70, 15}, {90, 11}}, 1, {70}, cut + "11; debugTopVals = 15 "},
        {{{1, 5}, {2, 5}, {3, 3}}, 1, {2, 1, 2, 1}, cut + "3; debugTopVals = 5 5 "},
        {{{1, 5}, {2, 5}, {3, 3}}, 2, {2, 1, 2, 1, 3}, "debugTopVals = 5 5 3 "},
        {{{1, 1}, {2, 1}, {3, 1}, {4, 1}},
         0,
         {4, 3, 2, 1, 4, 3, 2, 1, 4, 3, 2, 1},
         "debugTopVals = 1 1 1 "},
    };
    LogCapture log(3);
    Ints top = {99};  // replaced
    for (const auto& c : cases) {
        mPeer.setLaunchType(c.launchType);
        mLearner.topFrequentElem(c.freq, top);
        EXPECT_EQ(top, c.top) << testing::PrintToString(c.freq);
        EXPECT_EQ(log.take(), c.log) << testing::PrintToString(c.freq);
    }
}

TEST_F(AnalysisTest, YoungestIsTheMiddleOfCloseValuesElseTheMostRecentOne) {
    Ints recent200(88, 100);
    recent200.resize(100, 200);
    Ints tie(22, 1);
    tie.insert(tie.end(), {500, 100});
    LogCapture log(3);
    // Logged last, but for the lines about an age.
    const auto youngest = [&](const Ints& top, const Ints& data, const std::string& logged = "") {
        std::vector<float> ages;
        mLearner.accessDataPtAge(data, ages);
        log.take();
        const std::int32_t result = mLearner.getYoungest(top, ages, data);
        const std::string texts = log.take();
        EXPECT_THAT(texts.substr(0, texts.find("; setMinAsFreq True min  maxAge")),
                    EndsWith(logged));
        return result;
    };
    EXPECT_EQ(youngest({}, {}, "diffList "), 0);
    EXPECT_EQ(youngest({900, 950, 980}, {}, "setMinAsFreq True min  900\n"), 940);
    EXPECT_EQ(youngest({0, 500}, {}), 250);
    EXPECT_EQ(youngest({100, 110}, {}), 105);
    EXPECT_EQ(youngest({-7, -8}, {}, "min  -8\n"), -7);     // in percent of -7: negative
    EXPECT_EQ(youngest({2147483647, 2147483647}, {}), -1);  // wraps
    EXPECT_EQ(youngest({100, 111}, Ints(11, 111)), 0);      // all ages 0
    EXPECT_EQ(youngest({100, 200}, recent200), 200);
    EXPECT_EQ(youngest({100, 500}, tie, "diffList 0 500-  100 = 400.000000 "), 100);
    EXPECT_EQ(youngest({500, 100}, tie, "diffList 0 100-  500 = 80.000000 "), 500);
    EXPECT_EQ(mLearner.getYoungest({5}, std::vector<float>(3), Ints(2, 5)), 0);
    mLearner.getYoungest({100, 200}, std::vector<float>(3, 1.0F), {100, 100, 200});
    EXPECT_EQ(log.take(),
              "elemAges.size(3) != dataPt.size(2); diffList 0 200-  100 = 100.000000 ; "
              "setMinAsFreq True min  maxAge 0,newAge 2,maxAgeElem 0\n; "
              "setMinAsFreq True min  maxAge 2,newAge 1,maxAgeElem 100\n");
}

TEST_F(AnalysisTest, EndpointIsTheStartOfTheFirstLongRunElseOfTheLastRun) {
    const Ints peaked = {10, 80, 60, 50, 51, 50, 49, 50, 50};
    const auto endpoint = [&](std::int32_t target, const Ints& data, std::int32_t streak) {
        return mLearner.calculateEndp(target, data, 5, streak);
    };
    LogCapture log(3);
    EXPECT_EQ(endpoint(50, peaked, 5), 3);
    EXPECT_EQ(log.take(),
              "naturalResidency = 50, data_sz = 9, evalCritera = 5, streak = 5\n; "
              "naturalResidency 50 EndPoint IDX 3\n");
    EXPECT_EQ(endpoint(50, peaked, 10), 3);  // never complete: the last run's start
    EXPECT_EQ(endpoint(50, {}, 5), 0);
    EXPECT_EQ(endpoint(50, {50, 50, 10, 50, 10}, 2), 0);  // the first run is just long enough
    EXPECT_EQ(endpoint(50, {10, 50, 51, 10, 50}, 0), 1);  // a streak below 1 ends at once
    EXPECT_EQ(endpoint(50, {50, 50, 10, 50, 50, 50}, 3), 3);
    EXPECT_EQ(endpoint(100, {95, 96, 100}, 1), 1);        // 5 % is not below the tolerance
    EXPECT_EQ(endpoint(50, {50, 80, 50, 50}, 2), 2);      // the target comes before the peak
    EXPECT_EQ(endpoint(80, {1, 80, 1, 80, 80}, 2), 3);    // the peak is the target
    EXPECT_EQ(endpoint(79, {1, 80, 1, 79, 79}, 1), 3);    // the peak, though close, is skipped
    EXPECT_EQ(endpoint(79, {1, 80, 2, 80, 80}, 1), 3);    // no 79: halving stops past the peak
    EXPECT_EQ(endpoint(81, {1, 80, 1}, 1), 0);            // no 81: halving ends past the end
    EXPECT_EQ(endpoint(70, {71, 60, 60, 60, 70}, 1), 4);  // the peak at index 0 is skipped as well
}

TEST_F(AnalysisTest, ConclusionNeedsTheStreakOfItsLaunchTypeOrOneMetricAlone) {
    using History = std::vector<EpTriple>;
    const History steady = {{100, 40, 40}, {101, 40, 40}, {100, 40, 40}, {100, 41, 40}};
    const History outlived = {{40, 5, 5}, {40, 9, 1}, {31, 5, 5},
                              {32, 9, 1}, {32, 5, 5}, {32, 9, 1}};
    const History fdOnly = {{10, 90, 7}, {20, 60, 7}, {40, 30, 7},
                            {80, 10, 7}, {99, 3, 7},  {33, 1, 7}};
    const History fdLast = {{0, 0, 0}, {9, 0, 50}, {1, 9, 50}};
    const History fdShort(fdOnly.begin(), fdOnly.begin() + 5);
    // The history grows entry by entry and is concluded after each.
    const auto concludes = [](std::int32_t type, std::int32_t subType, const History& history,
                              std::int32_t decidedIdx, const std::string& lastLine) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        peer.setLaunchType(type, subType);
        peer.appName = "p";
        LogCapture log(3);
        for (const EpTriple& entry : history) {
            EXPECT_FALSE(peer.decided);
            peer.history.push_back(entry);
            learner.concludeEp(0);
        }
        const std::string last = log.texts().empty() ? "" : log.texts().back();
        SCOPED_TRACE(last + " " + std::to_string(type) + "." + std::to_string(subType));
        EXPECT_EQ(peer.decided, decidedIdx > 0);
        EXPECT_EQ(peer.epIdx, decidedIdx);
        EXPECT_THAT(last, HasSubstr(lastLine));
    };
    concludes(1, 0, {{12, 30, 7}}, 30, "");
    concludes(1, 0, {{0, 0, 0}}, 0, "");
    concludes(2, 0, {{12, 30, 7}}, 0, "");
    concludes(2, 0, {{9, 9, 9}, {9, 9, 9}, {9, 9, 9}}, 0, "avg - ForGame(1) {2,2,2}  = p =");
    concludes(2, 0, steady, 101, "{3,3,3}");
    concludes(2, 1, {{100, 9, 9}, {101, 9, 9}, {9, 9, 9}, {9, 9, 9}, {9, 9, 9}}, 101, "{2,4,4}");
    concludes(2, -1, {{50, 9, 1}, {50, 9, 4}}, 50, "{1,1,0}");
    concludes(2, 0, {{9, 1, 1}, {9, 5, 5}, {9, 1, 1}, {9, 5, 5}}, 9, "{3,0,0}");
    concludes(2, 1, fdOnly, 7, "{0,0,5}");
    concludes(2, 1, fdShort, 0, "{0,0,4}");
    concludes(2, 0, {{110, 110, 110}, {100, 100, 100}}, 0, "{0,0,0}");  // 10 % of the later
    concludes(2, -1, {{109, 1, 1}, {100, 1, 1}}, 100, "{1,1,1}");
    // One metric stable at the end, the others without data: decided by that.
    concludes(1, 1, fdLast, 50, "Final Ep by dataUnavailable 50\n");
    concludes(1, 1, {{0, 0, 0}, {9, 0, 50}, {1, 9, 90}}, 0, "{0,0,0}");
    concludes(1, 0, fdLast, 50, "{0,0,1}");                // had a candidate
    concludes(2, 1, fdLast, 0, "{0,0,1}");                 // more evaluations to come
    concludes(2, 0, outlived, 40, "{3,0,0}");              // the maximum outlives its streak
    concludes(2, 0, History(6, {0, 0, 0}), 0, "{5,5,5}");  // a candidate below 1 decides nothing
}

TEST_F(AnalysisTest, DecidedLaunchIsNotEvaluatedAgainAndIntermediatesAreClearedAlone) {
    // Below 1 % of 1000 for the memory, below 5 % for the others.
    mPeer.setSeries({10, 990, 991, 1000, 1000}, {10, 950, 951, 1000, 1000},
                    {1, 38, 39, 40, 40, 40});
    mLearner.churnForStablizingPoints(-77, 5);  // a bias changes nothing
    EXPECT_TRUE(mPeer.decided);
    LogCapture log(3);
    mLearner.churnForStablizingPoints(1, 5);
    EXPECT_EQ(log.take(),
              "vmRssBias=1, streak=5\n; mEpDecided Active EndPoint * * * IDX 2 * * *\n");
    mLearner.clearIntermediates();
    EXPECT_TRUE(mPeer.isWithoutIntermediates());
    EXPECT_EQ(mPeer.history.size(), 1U);
    mPeer.vmRssAge = {1.0F};
    mLearner.clearAll();
    EXPECT_TRUE(mPeer.isWithoutIntermediates());
    EXPECT_TRUE(mPeer.history.empty() && mPeer.vmRss.empty() && mPeer.oomScore.empty());
    EXPECT_EQ(mPeer.fdCounts(), 0U);
    EXPECT_FALSE(mPeer.decided);
    EXPECT_EQ(mPeer.epIdx, 0);
    EXPECT_EQ(mPeer.endpoints(), (Ints{2, 2, 2}));  // kept, as the youngest values are
    EXPECT_EQ(mPeer.youngest(), (Ints{1000, 1000, 40}));
}

TEST_F(AnalysisTest, FailedProductIsReportedByTheOperationThatWantedIt) {
    LogCapture log;
    mPeer.history = {{9, 9, 5}, {1, 1, 5}};
    for (const auto& fault : {std::function<void()>([] { throw std::runtime_error("boom"); }),
                              std::function<void()>([] { throw 5; })}) {
        framework().onMultiply = fault;
        EXPECT_EQ(mLearner.getYoungest({1, 2}, {}, {}), 0);
        EXPECT_EQ(mLearner.calculateEndp(1, {1}, 1, 1), 0);
        mLearner.concludeEp(0);
    }
    EXPECT_EQ(log.take(),
              "exception boom\n; exception boom\n; exception boom\n; "
              "unknown exception\n; unknown exception\n; unknown exception\n");
    EXPECT_FALSE(mPeer.decided);
}

Ints numbersOf(std::istream&& line) {
    return {std::istream_iterator<std::int32_t>(line), {}};
}

// The same endpoints with every compiler, standard library, machine and locking.
// Each record: name, type, subtype, then what an independent implementation
// makes of the series (decided, index, the last three endpoints); the series of
// memory, score and descriptors, sampled from a program or simulated (sim-).
TEST_F(AnalysisTest, GoldenLaunchesGetTheirEndpointsInEveryBuild) {
    std::ifstream file(ORVO_TEST_DATA_DIR "/golden_endpoints.txt");
    const auto nextSeries = [&] {
        std::string line;
        std::getline(file, line);
        return numbersOf(std::istringstream(line));
    };
    int launches = 0;
    for (std::string name; file >> name; ++launches) {
        const Ints expected = nextSeries();
        const Ints series[] = {nextSeries(), nextSeries(), nextSeries()};
        const auto firstOf = [&](std::size_t metric, std::size_t samples) {
            return Ints(series[metric].begin(),
                        series[metric].begin() + static_cast<std::ptrdiff_t>(samples));
        };
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        const bool isLong = expected.at(0) == 2;
        peer.setLaunchType(expected[0], expected.at(1));
        for (std::size_t n = 167; isLong && n <= series[0].size() && !peer.decided; n += 167) {
            peer.setSeries(firstOf(0, n), firstOf(1, n), firstOf(2, n));
            learner.churnForStablizingPoints(0, 10);
            learner.clearIntermediates();
        }
        if (!peer.decided) {
            peer.setSeries(series[0], series[1], series[2]);
            learner.churnForStablizingPoints(0, isLong ? 10 : 5);
        }
        Ints found = {expected[0], expected[1], peer.decided ? 1 : 0, peer.epIdx};
        for (const std::int32_t endpoint : peer.endpoints())
            found.push_back(endpoint);
        EXPECT_EQ(found, expected) << name;
    }
    EXPECT_EQ(launches, 18);
}

}  // namespace
