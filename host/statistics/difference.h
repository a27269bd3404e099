// How far two sets of values lie apart, and whether chance does as much.
#pragma once

#include <optional>
#include <vector>

#include "host/statistics/median.h"

namespace host {

/// Where the difference of the medians lies, later minus earlier, with 95 %
/// confidence, whatever the distributions: as far from it on either side as the root of
/// the squares of how far the two medians' own intervals reach. None where a median has
/// no interval. Zou, Donner: Construction of confidence limits about effect measures: a
/// general approach, Statistics in Medicine 27 (2008).
std::optional<Interval> medianDifferenceInterval(const std::vector<double>& earlier,
                                                 const std::vector<double>& later);

/// The rank-sum test's p, of both sides: how often chance alone, with the same values,
/// would part them as unevenly between the two sets. Exact of few values, equal ones
/// included; of many by the normal distribution. 1 when a set is empty. Mann, Whitney:
/// On a test of whether one of two random variables is stochastically larger than the
/// other, Annals of Mathematical Statistics 18 (1947).
double rankSumP(const std::vector<double>& earlier, const std::vector<double>& later);

}  // namespace host
