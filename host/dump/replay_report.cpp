// What replay prints, as text and as JSON.
#include "host/dump/replay_report.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/dump/dump_verdict.h"

namespace host {
namespace {

constexpr int kReplaySchemaVersion = 1;

std::string tripleText(const PerMetric<std::int32_t>& triple) {
    std::string text;
    for (const std::int32_t value : triple.values)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

std::string resultText(const EvaluationResult& result) {
    return "endpoints " + tripleText(result.endpointIndices) + "; settled values " +
           tripleText(result.settledValues) + "; " +
           (result.finalIndex ? "final " + std::to_string(*result.finalIndex) : "undecided");
}

std::string resultAt(const std::vector<EvaluationResult>& results, std::size_t i) {
    return i < results.size() ? resultText(results[i]) : "no such evaluation";
}

void writeDifferences(std::ostream& out, const LaunchReplay& launch) {
    const std::size_t evaluations = std::max(launch.recorded.size(), launch.replayed.size());
    for (std::size_t i = 0; i < evaluations; ++i) {
        const std::string recorded = resultAt(launch.recorded, i);
        const std::string replayed = resultAt(launch.replayed, i);
        if (recorded == replayed) continue;
        out << "  evaluation " << i + 1 << '\n'
            << "    recorded  " << recorded << '\n'
            << "    replayed  " << replayed << '\n';
    }
}

// What is printed of the recorded endpoint, after the comparison.
std::string verdictOf(const DumpedLaunch& dumped) {
    const std::optional<JudgedLaunch> judged = judge(dumped);
    if (!judged) return "";
    std::string text;
    if (!judged->verdict.isSettled()) {
        text = (dumped.finalIndex() ? "  doubted: " : "  remark: ") + doubtText(*judged) + '\n';
    }
    if (!differs(judged->seen, judged->verdict.opinion)) return text;
    return text +
           "  second opinion, by memory alone: " + opinionText(assessmentOf(dumped, judged)) + '\n';
}

std::string launchText(const DumpedLaunch& dumped, const LaunchReplay& launch) {
    std::ostringstream out;
    out << "launch " << dumped.number << " (line " << dumped.line << "): ";
    if (launch.recorded.empty()) {
        out << "nothing to replay, it was not evaluated\n";
        return out.str();
    }
    out << (launch.isEqual() ? "equal" : "DIFFERS") << " as type " << launch.type << ", subtype "
        << launch.subtype;
    if (launch.isEqual()) out << "; " << resultText(launch.replayed.back());
    const std::string start = startText(assessmentOf(dumped, std::nullopt));
    if (!start.empty()) out << "; " << start;
    out << '\n';
    writeDifferences(out, launch);
    out << verdictOf(dumped);
    return out.str();
}

std::string jsonText(const Json& json) {
    std::string line = jsonLine(json);
    line.pop_back();
    return line;
}

Json toJson(const std::vector<EvaluationResult>& results, const PerMetric<Series>& series) {
    Json list = Json::array();
    for (const EvaluationResult& result : results) {
        Json indices = Json::object();
        Json values = Json::object();
        for (const Metric metric : kMetrics) {
            const auto orNone = [&](std::int32_t value) {
                return series[metric].empty() ? Json(nullptr) : Json(value);
            };
            indices[traitsOf(metric).jsonName] = orNone(result.endpointIndices[metric]);
            values[traitsOf(metric).jsonName] = orNone(result.settledValues[metric]);
        }
        list.push_back({{"endpoint_indices", indices},
                        {"settled_values", values},
                        {"final_index", orNull(result.finalIndex)}});
    }
    return list;
}

Json toJson(const DumpedLaunch& dumped, const LaunchReplay& launch) {
    const bool isReplayed = !launch.recorded.empty();
    Json json{{"number", dumped.number},
              {"line", dumped.line},
              {"type", isReplayed ? Json(launch.type) : Json(nullptr)},
              {"subtype", isReplayed ? Json(launch.subtype) : Json(nullptr)},
              {"equal", isReplayed ? Json(launch.isEqual()) : Json(nullptr)},
              {"recorded", toJson(launch.recorded, dumped.series)},
              {"replayed", toJson(launch.replayed, dumped.series)}};
    addAssessment(json, assessmentOf(dumped, judge(dumped)));
    return json;
}

}  // namespace

std::string ReplayReport::start() const {
    if (!mIsJson) return "";
    std::string open = jsonText({{"schema_version", kReplaySchemaVersion},
                                 {"package", mSource.package},
                                 {"file", mSource.file},
                                 {"analysis", kAnalysisBuild},
                                 {"launches", Json::array()}});
    open.resize(open.size() - std::strlen("]}"));
    return open;
}

std::string ReplayReport::add(const DumpedLaunch& dumped, const LaunchReplay& launch) {
    if (!launch.recorded.empty()) ++mReplayed;
    if (!launch.recorded.empty() && launch.isEqual()) ++mEqual;
    const bool isFirst = std::exchange(mIsFirst, false);
    if (mIsJson) return (isFirst ? "" : ",") + jsonText(toJson(dumped, launch));
    return launchText(dumped, launch);
}

std::string ReplayReport::end() const {
    if (mIsJson) {
        return "],\"replayed\":" + std::to_string(mReplayed) +
               ",\"equal\":" + std::to_string(mEqual) + "}\n";
    }
    return printable(titleOf(mSource)) + ": " + std::to_string(mEqual) + " of " +
           std::to_string(mReplayed) + " replayed launches are equal by the " + kAnalysisBuild +
           " build's analysis in orvo-host; times count from the first sample\n";
}

}  // namespace host
