// Change-point detection for comparison: where a series of values changes its
// mean, by the least sum of squared deviations (l2).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Exact search with pruning (PELT). Returns the first index of every segment
/// but the first, ascending. `penalty` is the price of one change.
std::vector<std::size_t> pelt(const std::vector<std::int32_t>& values, double penalty);

/// Greedy binary segmentation under the same price.
std::vector<std::size_t> binarySegmentation(const std::vector<std::int32_t>& values,
                                            double penalty);

/// The usual penalty: twice the noise's variance times log n, the noise being
/// estimated from the differences of neighbours, which changes hardly touch.
double bicPenalty(const std::vector<std::int32_t>& values);
