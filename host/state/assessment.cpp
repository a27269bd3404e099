// What is printed of a launch beside its endpoint, and what its package inherits.
#include "host/state/assessment.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/verdict/verdict_text.h"

namespace host {
namespace {

using Time = std::optional<std::int32_t> Assessment::*;

std::optional<std::int32_t> meanOf(const std::deque<Assessment>& launches, Time time) {
    double sum = 0;
    for (const Assessment& launch : launches) {
        if (!(launch.*time)) return std::nullopt;
        sum += *(launch.*time);
    }
    if (launches.empty()) return std::nullopt;
    return static_cast<std::int32_t>(std::lround(sum / static_cast<double>(launches.size())));
}

void addNew(std::vector<std::string>& words, const std::vector<std::string>& more) {
    for (const std::string& word : more) {
        if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
}

std::optional<std::vector<std::string>> wordsAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return found->get<std::vector<std::string>>();
}

bool isOther(const Assessment& assessment, std::optional<std::int32_t> endpointMs) {
    if (!assessment.secondOpinionMs) return false;
    const std::int64_t errorMs = assessment.secondOpinionErrorMs.value_or(0);
    return !endpointMs ||
           std::abs(std::int64_t{*assessment.secondOpinionMs} - *endpointMs) > errorMs;
}

}  // namespace

std::string doubtNames(const Assessment& assessment) {
    std::string names;
    if (!assessment.doubts) return names;
    for (const std::string& word : *assessment.doubts)
        names += (names.empty() ? "" : ", ") + doubtName(word);
    return names;
}

std::string startText(const Assessment& assessment) {
    if (!assessment.sinceStartMs) return "";
    return std::to_string(*assessment.sinceStartMs) + " ms after the start";
}

std::string opinionText(const Assessment& assessment) {
    if (!assessment.secondOpinionMs) return "none";
    return std::to_string(*assessment.secondOpinionMs) + " ms, within " +
           std::to_string(assessment.secondOpinionErrorMs.value_or(0)) + " ms";
}

std::string toldText(const Assessment& assessment, std::optional<std::int32_t> endpointMs) {
    const std::string start = startText(assessment);
    const std::string doubts = doubtNames(assessment);
    return (start.empty() ? "" : ", " + start) +
           (doubts.empty() ? "" : (endpointMs ? "; doubted: " : ": ") + printable(doubts)) +
           (isOther(assessment, endpointMs) ? "; second opinion " + opinionText(assessment) : "");
}

Inheritance inheritedFrom(const std::deque<Assessment>& launches) {
    Inheritance result;
    Assessment& shared = result.assessment;
    shared.sinceStartMs = meanOf(launches, &Assessment::sinceStartMs);
    shared.secondOpinionMs = meanOf(launches, &Assessment::secondOpinionMs);
    for (const Assessment& launch : launches) {
        if (!launch.doubts) continue;
        ++result.judged;
        result.doubted += launch.isDoubted() ? 1 : 0;
        if (!shared.doubts) shared.doubts.emplace();
        addNew(*shared.doubts, *launch.doubts);
        if (shared.secondOpinionMs) {
            shared.secondOpinionErrorMs =
                std::max(shared.secondOpinionErrorMs, launch.secondOpinionErrorMs);
        }
    }
    return result;
}

void addAssessment(Json& object, const Assessment& assessment) {
    object["since_start_ms"] = orNull(assessment.sinceStartMs);
    object["doubts"] = orNull(assessment.doubts);
    object["second_opinion_ms"] = orNull(assessment.secondOpinionMs);
    object["second_opinion_error_ms"] = orNull(assessment.secondOpinionErrorMs);
}

Assessment assessmentIn(const Json& object) {
    return {integerAt(object, "since_start_ms"), wordsAt(object, "doubts"),
            integerAt(object, "second_opinion_ms"), integerAt(object, "second_opinion_error_ms")};
}

}  // namespace host
