// Medians, and how far they can be believed.
#pragma once

#include <optional>
#include <vector>

namespace host {

struct Interval {
    double low;
    double high;

    double width() const { return high - low; }
};

/// The middle of the values, of an even number the mean of the middle two. Of at
/// least one value.
double medianOf(std::vector<double> values);

/// Where the median of all launches lies, with 95 % confidence, whatever their
/// distribution: between two of the values, chosen by the binomial distribution
/// and interpolated between neighbours, which makes the confidence nearly exact.
/// None of fewer than six values, among which none are far enough apart.
/// Hettmansperger, Sheather: Confidence intervals based on interpolated order
/// statistics, Statistics & Probability Letters 4 (1986).
std::optional<Interval> medianInterval(std::vector<double> values);

/// Whether later values tend to be larger or smaller, beyond what chance gives in
/// one of a hundred rows: +1, -1, or 0. Mann: Nonparametric tests against trend,
/// Econometrica 13 (1945).
int trendOf(const std::vector<double>& values);

}  // namespace host
