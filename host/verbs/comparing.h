// Comparing two measurements, for the verbs that do: compare, and measure --against.
#pragma once

#include <optional>
#include <string>

#include "host/results/measurement.h"

namespace host {

class Verb;

struct CompareOptions {
    std::optional<double> failIfSlowerPercent;  ///< --fail-if-slower
    std::string by = "endpoint";                ///< --by: "endpoint" or "opinion"
    bool isStrict = false;                      ///< --strict
    std::string picture;                        ///< a file; empty: in characters below the text
    bool isJson = false;                        ///< one JSON object and no picture but a file's
};

/// --fail-if-slower, --by and --strict, which compare and measure --against share.
void addGateOptions(Verb& verb, CompareOptions& options);

/// Prints what the two come to, with a picture, and returns the exit code: kDoubted
/// with --strict when a compared launch is doubted; else kSlower beyond
/// --fail-if-slower, and kNotLearned where too few runs leave that open; else kDone.
/// Throws HostError, kNotLearned, when one of them has no launch to compare.
int reportComparison(const Measurement& older, const Measurement& newer,
                     const CompareOptions& options);

}  // namespace host
