// Medians, their intervals, trends and differences, against published values and ones
// worked out by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/statistics/difference.h"

namespace host {
namespace {

using testing::DoubleNear;
using Values = std::vector<double>;

const Values kEleven{7.8, 6.6, 6.5, 7.4, 7.3, 7.0, 6.4, 7.1, 6.7, 7.6, 6.8};

auto isAbout(double low, double high) {
    return testing::Optional(
        testing::AllOf(testing::Field(&Interval::low, DoubleNear(low, 1e-4)),
                       testing::Field(&Interval::high, DoubleNear(high, 1e-4))));
}

Values scaled(Values values, double factor, double shift) {
    for (double& value : values)
        value = factor * value + shift;
    return values;
}

// Of 11 values the second from either end are 98.828 % apart, the third 93.457 %.
TEST(Median, TheIntervalLiesBetweenTheValuesWhoseConfidenceIsNextToIt) {
    EXPECT_DOUBLE_EQ(medianOf(kEleven), 7.0);
    EXPECT_DOUBLE_EQ(medianOf({4, 1, 3, 2}), 2.5);
    EXPECT_THAT(medianInterval(kEleven), isAbout(6.59178, 7.41644));
    EXPECT_EQ(medianInterval({}), std::nullopt);
    EXPECT_EQ(medianInterval({1, 2, 3, 4, 5}), std::nullopt) << "93.75 % apart at most";
    EXPECT_THAT(medianInterval({1, 2, 3, 4, 5, 6}), isAbout(1.35714, 5.64286));
    Values many;
    for (int i = 0; i < 10'000; ++i)
        many.push_back(i);
    EXPECT_THAT(medianInterval(many), testing::Optional(testing::AllOf(
                                          testing::Field(&Interval::low, DoubleNear(4901.5, 1)),
                                          testing::Field(&Interval::high, DoubleNear(5097.5, 1)))));
}

// Kendall's sum of 31 of ten values is beyond one in a hundred, of 29 it is not.
TEST(Trend, IsTheOneThatTheTableOfKendallsSumGives) {
    EXPECT_EQ(trendOf({1, 2, 10, 3, 4, 5, 6, 7, 8, 9}), 1);
    EXPECT_EQ(trendOf({9, 8, 7, 6, 5, 4, 3, 10, 2, 1}), -1);
    EXPECT_EQ(trendOf({1, 10, 2, 3, 4, 5, 6, 7, 8, 9}), 0);
    EXPECT_EQ(trendOf({5, 5, 5, 5, 5, 5, 5, 5, 5, 5}), 0);
    EXPECT_EQ(trendOf({}), 0);
}

TEST(Difference, AddsTheSquaresOfTheSidesThatFaceEachOther) {
    EXPECT_THAT(medianDifferenceInterval(kEleven, scaled(kEleven, 1, 1)),
                isAbout(1 - 0.58315, 1 + 0.58315));
    EXPECT_THAT(medianDifferenceInterval(kEleven, scaled(kEleven, 2, 0)),
                isAbout(7 - 0.91652, 7 + 0.92754));
    EXPECT_EQ(medianDifferenceInterval(kEleven, {1, 2, 3, 4, 5}), std::nullopt);
}

// Twenty values each; of all pairs so many have the earlier one above.
double pOfPairsAbove(int pairs) {
    Values earlier;
    Values later;
    for (int i = 0; i < 20; ++i) {
        const int below = (pairs + i) / 20;
        earlier.push_back(10 * i);
        later.push_back(10 * (19 - below) + 5 + 0.01 * i);
    }
    return rankSumP(earlier, later);
}

TEST(RankSum, FewValuesAreTestedExactly) {
    // Hollander, Wolfe: permeability of membranes.
    EXPECT_NEAR(rankSumP({0.80, 0.83, 1.89, 1.04, 1.45, 1.38, 1.91, 1.64, 0.73, 1.46},
                         {1.15, 0.88, 0.90, 0.74, 1.21}),
                0.2544, 5e-5);
    EXPECT_NEAR(rankSumP({1, 2, 3, 4}, {5, 6, 7, 8}), 2.0 / 70, 1e-12);
    EXPECT_NEAR(rankSumP({5, 6, 7, 8}, {1, 2, 3, 4}), 2.0 / 70, 1e-12);
    // The tables' critical value of twenty each, 0.05, both sides.
    EXPECT_LE(pOfPairsAbove(127), 0.05);
    EXPECT_GT(pOfPairsAbove(128), 0.05);
    EXPECT_NEAR(rankSumP({1, 2}, {2, 3}), 4.0 / 6, 1e-12) << "equal values, by hand";
    EXPECT_EQ(rankSumP({7, 7, 7}, {7, 7}), 1);
    EXPECT_EQ(rankSumP({}, {7, 7}), 1);
}

TEST(RankSum, ManyValuesAreTestedByTheNormalDistribution) {
    Values earlier(35, 0.0);
    earlier.resize(50, 1.0);
    Values later(25, 0.0);
    later.resize(50, 1.0);
    EXPECT_NEAR(rankSumP(earlier, later), 0.04267, 1e-4);
    EXPECT_EQ(rankSumP(Values(40, 3.0), Values(40, 3.0)), 1);
}

}  // namespace
}  // namespace host
