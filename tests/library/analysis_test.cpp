// The analysis: known answers, and launches recorded from real programs.
#include "host/dump/analysis.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/library/learner_test.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Ints = std::vector<std::int32_t>;
using Freq = std::unordered_map<std::int32_t, std::int32_t>;

// The lines of a table but for comments and empty ones.
std::vector<std::string> recordsOf(const std::string& table) {
    std::ifstream file(ORVO_TEST_DATA_DIR "/" + table);
    std::vector<std::string> records;
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#') records.push_back(line);
    EXPECT_FALSE(records.empty()) << table;
    return records;
}

Ints numbersOf(std::istream&& line) {
    return {std::istream_iterator<std::int32_t>(line), {}};
}

using AnalysisTest = LearnerTest;

TEST_F(AnalysisTest, AgeGrowsByTwelfthsAndTheRemainderIsNewest) {
    const std::vector<float>& table = mPeer.ageTable;
    ASSERT_EQ(table.size(), 12U);
    EXPECT_EQ(table[0], std::ldexp(16777207.0F, -35));  // not the power of two
    EXPECT_EQ(table[1], std::ldexp(8388612.0F, -33));
    for (std::size_t segment = 2; segment < 12; ++segment)
        EXPECT_EQ(table[segment], std::ldexp(1.0F, static_cast<int>(segment) - 11));
    std::vector<float> ages;
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
        {{{70, 8}, {90, 6}}, 1, {70, 90}, "debugTopVals = 8 6 "},
        {{{70, 200}, {90, 149}}, 1, {70}, cut + "149; debugTopVals = 200 "},
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
    const auto ofTop = [&](const Ints& top) { return mLearner.getYoungest(top, {}, {}); };
    EXPECT_EQ(ofTop({}), 0);
    EXPECT_EQ(ofTop({900, 950, 980}), 940);
    EXPECT_EQ(ofTop({0, 500}), 250);
    EXPECT_EQ(ofTop({100, 110}), 105);
    EXPECT_EQ(ofTop({-7, -8}), -7);                  // in percent of -7: negative
    EXPECT_EQ(ofTop({2147483647, 2147483647}), -1);  // wraps
    EXPECT_EQ(mLearner.getYoungest({100, 111}, {0.5F}, {111}), 0);
    EXPECT_EQ(mLearner.getYoungest({100, 200}, {0.5F, 0.5F, 1.0F}, {100, 100, 200}), 200);
    EXPECT_EQ(mLearner.getYoungest({100, 500}, {1.0F, 1.0F}, {500, 100}), 100);  // of equal age
    LogCapture log(3);
    EXPECT_EQ(mLearner.getYoungest({5}, std::vector<float>(3), Ints(2, 5)), 0);
    mLearner.getYoungest({100, 200}, std::vector<float>(3, 1.0F), {100, 100, 200});
    mLearner.getYoungest({100, 95}, {}, {});
    EXPECT_EQ(log.take(),
              "elemAges.size(3) != dataPt.size(2); diffList 0 200-  100 = 100.000000 ; "
              "setMinAsFreq True min  maxAge 0,newAge 2,maxAgeElem 0\n; "
              "setMinAsFreq True min  maxAge 2,newAge 1,maxAgeElem 100\n; "
              "diffList 0 95-  100 = 5.000000 ; setMinAsFreq True min  95\n");
}

TEST_F(AnalysisTest, EndpointIsTheStartOfTheFirstLongRunElseOfTheLastRun) {
    LogCapture log(3);
    for (const std::string& record : recordsOf("known_endpoints.txt")) {
        const Ints numbers = numbersOf(std::istringstream(record));
        const Ints series(numbers.begin() + 3, numbers.end());
        EXPECT_EQ(mLearner.calculateEndp(numbers[0], series, 5, numbers[1]), numbers[2]) << record;
    }
    EXPECT_THAT(log.take(),
                StartsWith("naturalResidency = 50, data_sz = 9, evalCritera = 5, streak = 5\n; "
                           "naturalResidency 50 EndPoint IDX 3\n"));
}

TEST_F(AnalysisTest, ConclusionNeedsTheStreakOfItsLaunchTypeOrOneMetricAlone) {
    mPeer.appName = "p";
    for (const std::string& record : recordsOf("known_conclusions.txt")) {
        SCOPED_TRACE(record);
        std::istringstream fields(record);
        std::int32_t type = 0;
        std::int32_t subType = 0;
        std::int32_t decidedIdx = 0;
        std::string lastLine;
        std::getline(fields >> type >> subType >> decidedIdx >> std::ws, lastLine, '|');
        mLearner.clearAll();
        mPeer.setLaunchType(type, subType);
        LogCapture log(3);
        for (EpTriple entry; fields >> entry.vmRss >> entry.oomScore >> entry.fdCount;) {
            EXPECT_FALSE(mPeer.decided);
            mPeer.history.push_back(entry);
            mLearner.concludeEp(0);
        }
        EXPECT_EQ(mPeer.decided, decidedIdx > 0);
        EXPECT_EQ(mPeer.epIdx, decidedIdx);
        const std::string last = log.texts().empty() ? "" : log.texts().back();
        EXPECT_THAT(last, HasSubstr(lastLine.substr(0, lastLine.find_last_not_of(' ') + 1)));
    }
}

TEST_F(AnalysisTest, DecidedLaunchIsNotEvaluatedAgainAndIsClearedWithItsSeries) {
    // Below 1 % of 1000 for the memory, below 5 % for the others.
    mPeer.setSeries({10, 990, 991, 1000, 1000}, {10, 950, 951, 1000, 1000},
                    {1, 38, 39, 40, 40, 40});
    mLearner.churnForStablizingPoints(-77, 5);  // a bias changes nothing
    EXPECT_EQ(mPeer.endpoints(), (Ints{2, 2, 2}));
    LogCapture log(3);
    mLearner.churnForStablizingPoints(1, 5);
    EXPECT_EQ(log.take(),
              "vmRssBias=1, streak=5\n; mEpDecided Active EndPoint * * * IDX 2 * * *\n");
    mLearner.clearAll();
    EXPECT_TRUE(mPeer.vmRss.empty() && mPeer.oomScore.empty() && mPeer.fdCounts() == 0);
}

TEST_F(AnalysisTest, NothingOfOneEvaluationIsInTheNext) {
    mPeer.setLaunchType(2);
    for (const std::int32_t value : {100, 104}) {
        mPeer.setSeries(Ints(3, value), Ints(3, value), Ints(3, value));
        mLearner.churnForStablizingPoints(0, 10);
        EXPECT_EQ(mPeer.settledValues(), Ints(3, value));
        mLearner.clearIntermediates();
    }
}

TEST_F(AnalysisTest, FailedProductIsReportedByTheOperationThatWantedIt) {
    LogCapture log;
    mPeer.history = {{9, 9, 5}, {1, 1, 5}};
    for (const bool isStandard : {true, false}) {
        framework().onMultiply = [=] {
            if (isStandard) throw std::runtime_error("boom");
            throw 5;
        };
        EXPECT_EQ(mLearner.getYoungest({1, 2}, {}, {}), 0);
        EXPECT_EQ(mLearner.calculateEndp(1, {1}, 1, 1), 0);
        mLearner.concludeEp(0);
    }
    EXPECT_EQ(log.take(),
              "exception boom\n; exception boom\n; exception boom\n; "
              "unknown exception\n; unknown exception\n; unknown exception\n");
    EXPECT_FALSE(mPeer.decided);
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
        const host::PerMetric<Ints> series{{nextSeries(), nextSeries(), nextSeries()}};
        const host::EvaluationResult last =
            host::Analysis(expected.at(0), expected.at(1))
                .evaluateUntilDecided(series, host::evaluationsOf(series, expected[0]))
                .back();
        Ints found = {expected[0], expected[1], last.finalIndex ? 1 : 0,
                      last.finalIndex.value_or(0)};
        for (const std::int32_t endpoint : last.endpointIndices.values)
            found.push_back(endpoint);
        EXPECT_EQ(found, expected) << name;
    }
    EXPECT_EQ(launches, 18);
}

}  // namespace
