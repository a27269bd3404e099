// What is told of a launch beside its endpoint, and kept in the history.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/base/json_text.h"

namespace host {

/// As members of JSON: since_start_ms, doubts, second_opinion_ms,
/// second_opinion_error_ms. Null stands for what was not measured.
struct Assessment {
    /// From the program's start to the endpoint, which itself counts from the
    /// library's first look.
    std::optional<std::int32_t> sinceStartMs;
    /// Words of what speaks against the endpoint, none for a settled launch.
    std::optional<std::vector<std::string>> doubts;
    std::optional<std::int32_t> secondOpinionMs;  ///< counts as the endpoint does
    std::optional<std::int32_t> secondOpinionErrorMs;

    bool isDoubted() const { return doubts && !doubts->empty(); }
};

/// The verdict's members, all but since_start_ms: a recorded launch does not tell
/// when its program started.
inline void addVerdict(Json& object, const Assessment& assessment) {
    object["doubts"] = orNull(assessment.doubts);
    object["second_opinion_ms"] = orNull(assessment.secondOpinionMs);
    object["second_opinion_error_ms"] = orNull(assessment.secondOpinionErrorMs);
}

inline void addAssessment(Json& object, const Assessment& assessment) {
    object["since_start_ms"] = orNull(assessment.sinceStartMs);
    addVerdict(object, assessment);
}

}  // namespace host
