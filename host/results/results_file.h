// The file of results that measure writes, and compare, export and report read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/base/json_fwd.h"
#include "host/results/measurement.h"

namespace host {

constexpr int kResultsSchemaVersion = 1;

/// One measurement, or two whose launches alternated, the older build's first.
using Results = std::vector<Measurement>;

Json toJson(const Machine& machine);

/// One JSON object and a newline (docs/schemas/results.schema.json).
std::string renderResults(const Results& results);

/// Throws HostError, kUsage, which begins with `name`, for what is not a results file, is
/// cut off, has another schema version, no measurement or more than two, or a value
/// that cannot be one.
Results parseResults(std::string_view text, const std::string& name);

/// A file that a person names. Throws HostError: kUsage as parseResults, kEnvironment
/// when it cannot be read.
Results readResults(const std::string& file);

}  // namespace host
