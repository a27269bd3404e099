// What is printed of a launch beside its endpoint, and kept in the history.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "host/base/json_fwd.h"

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

/// The doubts as a person reads them, "still changing, decided at a rest"; empty without.
std::string doubtNames(const Assessment& assessment);

/// "1043 ms after the start"; empty where that was not measured.
std::string startText(const Assessment& assessment);

/// "690 ms, within 31 ms"; "none" where memory does not end at a level.
std::string opinionText(const Assessment& assessment);

/// What is printed after a launch's outcome: ", 1043 ms after the start; doubted:
/// late; second opinion 690 ms, within 31 ms", each part only where it is known.
std::string toldText(const Assessment& assessment, std::optional<std::int32_t> endpointMs);

/// What launches pass on to the endpoint that is their mean.
struct Inheritance {
    Assessment assessment;
    std::size_t judged = 0;   ///< launches
    std::size_t doubted = 0;  ///< of these
};

/// Times are means, none unless every launch has one, with the largest of the
/// errors; doubts are those of any launch, none when no launch was judged.
Inheritance inheritedFrom(const std::deque<Assessment>& launches);

/// All members.
void addAssessment(Json& object, const Assessment& assessment);

/// What they were; a missing one counts as null. Throws a std::exception for a member
/// of another form.
Assessment assessmentIn(const Json& object);

}  // namespace host
