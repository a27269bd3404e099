// By how much one set of values lies above another.
#pragma once

#include <optional>
#include <vector>

#include "host/statistics/median.h"

namespace host {

struct Shift {
    double middle;      ///< the median of all differences between the two
    Interval interval;  ///< that holds it with 95 % confidence
    double p;           ///< of a rank test: how often chance alone gives as much

    /// Both agree that it is none of chance's.
    bool isUp() const { return interval.low > 0 && p < 0.05; }
    bool isDown() const { return interval.high < 0 && p < 0.05; }
};

/// By how much `later` lies above `earlier`, whatever the distributions, which are
/// taken to be of one shape. None when there are so few values that chance alone
/// gives every order of them too often: it takes four on either side. Mann,
/// Whitney: On a test of whether one of two random variables is stochastically
/// larger than the other, Annals of Mathematical Statistics 18 (1947); Hodges,
/// Lehmann: Estimates of location based on rank tests, the same, 34 (1963).
std::optional<Shift> shiftBetween(const std::vector<double>& earlier,
                                  const std::vector<double>& later);

}  // namespace host
