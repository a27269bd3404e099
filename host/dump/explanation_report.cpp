// What explain prints, as text and as JSON.
#include "host/dump/explanation_report.h"

#include <iomanip>
#include <sstream>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/dump/dump_verdict.h"
#include "host/dump/explanation.h"
#include "host/state/spread.h"
#include "host/state/store_reader.h"

namespace host {
namespace {

constexpr int kExplainSchemaVersion = 1;
constexpr std::size_t kShownValues = 5;
constexpr std::size_t kMostCompared = 1000;  // launches; those long ago were of other versions

// Columns of the table of evaluations.
constexpr int kEvaluation = 12;
constexpr int kSamples = 9;
constexpr int kCompared = 22;

std::string ms(std::int64_t timeMs) {
    return std::to_string(timeMs) + " ms";
}

std::string rounded(double value, int decimals = 0) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(decimals) << value;
    return out.str();
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string namesOf(const std::vector<Metric>& metrics) {
    std::string text;
    for (const Metric metric : metrics) {
        if (!text.empty()) text += " and ";
        text += traitsOf(metric).name;
    }
    return text;
}

// --- The words for one metric.

std::string frequentText(const MetricExplanation& explanation, const MetricTraits& traits) {
    std::string text;
    for (std::size_t i = 0; i < explanation.frequentValues.size(); ++i) {
        if (i == kShownValues) return text + ", ...";
        const CountedValue& one = explanation.frequentValues[i];
        if (i > 0) text += ", ";
        text += std::to_string(one.value) + traits.unit + " (" + counted(one.count, "time") + ")";
    }
    return text.empty() ? "none" : text;
}

std::string settledText(const MetricExplanation& explanation, const MetricTraits& traits) {
    if (!explanation.settledValue) {
        return "none: the frequent values differ, and none of them is among the newest samples";
    }
    const std::string value = std::to_string(*explanation.settledValue) + traits.unit;
    if (explanation.rule == ValueRule::kNewest) {
        return value + ", the one met most often in the newest twelfth of the samples";
    }
    if (explanation.frequentValues.size() == 1) return value + ", the only frequent one";
    return value + ", midway between the smallest and the largest, for all are close (10 %)";
}

std::string endpointText(const MetricExplanation& explanation, const MetricTraits& traits,
                         std::int32_t streak) {
    const std::string band = "within " + std::to_string(traits.tolerancePercent) + " %";
    const std::string needed = counted(static_cast<std::size_t>(streak), "sample");
    const std::string run = counted(explanation.samplesInRun, "sample");
    const std::int32_t index = explanation.endpointIndex.value_or(0);
    const std::string endpoint = ms(timeMs(index)) + " (sample " + std::to_string(index) + "), ";
    switch (explanation.finding) {
        case MetricFinding::kNoSamples:
            break;
        case MetricFinding::kNeverNear:
            return "none: no sample is " + band + " of the settled value";
        case MetricFinding::kSteadyFromStart:
            return "none: " + band + " from the first sample on, and 0 ms counts as none";
        case MetricFinding::kShortRun:
            return (index == 0 ? "none, " : endpoint) + "a fallback: no " + needed +
                   " in a row are " + band + "; the last try has " + run;
        case MetricFinding::kSettled:
            return endpoint + "the first of " + run + " in a row " + band + " (" + needed +
                   " are needed)";
    }
    return "none";
}

void writeMetric(std::ostream& out, const MetricExplanation& explanation, Metric metric,
                 std::int32_t streak) {
    const MetricTraits& traits = traitsOf(metric);
    if (explanation.samples == 0) {
        out << "  " << traits.name << ": no samples\n";
        return;
    }
    out << "  " << traits.name << ": " << counted(explanation.samples, "sample") << '\n'
        << "    most frequent  " << frequentText(explanation, traits) << '\n'
        << "    settled value  " << settledText(explanation, traits) << '\n'
        << "    endpoint       " << endpointText(explanation, traits, streak) << '\n';
}

// --- The words for the launch.

std::string comparedText(const EvaluationExplanation& evaluation, Metric metric) {
    const std::int32_t index = evaluation.metrics[metric].endpointIndex.value_or(0);
    std::string text = index > 0 ? ms(timeMs(index)) : "none";
    if (!evaluation.comparisons) return text;
    const EndpointComparison& comparison = (*evaluation.comparisons)[metric];
    if (comparison.isStable) return text + ", stable x" + std::to_string(comparison.stableInARow);
    return text + ", " + rounded(static_cast<double>(comparison.differencePercent), 1) + " % off";
}

void writeEvaluations(std::ostream& out, const std::vector<EvaluationExplanation>& evaluations) {
    out << "  evaluation  samples";
    for (const Metric metric : kMetrics)
        out << std::setw(kCompared) << traitsOf(metric).name;
    out << '\n';
    for (std::size_t i = 0; i < evaluations.size(); ++i) {
        out << std::setw(kEvaluation) << i + 1 << std::setw(kSamples) << evaluations[i].samples;
        for (const Metric metric : kMetrics)
            out << std::setw(kCompared) << comparedText(evaluations[i], metric);
        out << '\n';
    }
    out << "  of the last evaluation:\n";
}

std::string stabilityText(const std::vector<EvaluationExplanation>& evaluations) {
    std::string text = "Stable comparisons in a row:";
    bool isNoneStable = false;
    for (const Metric metric : kMetrics) {
        const auto& comparisons = evaluations.back().comparisons;
        const std::int32_t inARow = comparisons ? (*comparisons)[metric].stableInARow : 0;
        text += std::string(metric == kMetrics.front() ? " " : ", ") + traitsOf(metric).name + ' ' +
                std::to_string(inARow);
        const bool isNone = evaluations.back().metrics[metric].endpointIndex.value_or(0) == 0;
        isNoneStable = isNoneStable || (inARow > 0 && isNone);
    }
    return text + (isNoneStable ? " (no endpoint again counts as stable)" : "");
}

std::string stabilityRule() {
    const auto times = [](std::int32_t subtype) {
        return std::to_string(stableComparisonsNeeded(subtype));
    };
    return "A long launch is decided by " + times(0) + " of one metric with subtype 0, " +
           times(1) + " of two with a\n  subtype above 0, " + times(-1) +
           " of two with one below 0, or " + std::to_string(kStableForOneMetric) +
           " of any one,\n  once a stable endpoint is above 0.";
}

std::string disagreementText(DumpOutcome outcome) {
    const std::string agreed = " before enough evaluations agreed.";
    if (outcome == DumpOutcome::kAborted) {
        return "Nothing was decided: it was stopped, or its process ended," + agreed;
    }
    if (outcome == DumpOutcome::kUnfinished) return "Nothing was decided: the host ended" + agreed;
    return "Nothing was decided: the evaluations do not agree enough.";
}

std::string decisionText(const DumpedLaunch& launch, const LaunchExplanation& explanation) {
    switch (explanation.missing) {
        case Missing::kEvaluation:
            if (!launch.unevaluated.empty())
                return "It was not analysed: " + printable(launch.unevaluated) + '.';
            return launch.outcome == DumpOutcome::kAborted
                       ? "It was stopped, or its process ended, before the analysis."
                       : "The dump is cut off before the results.";
        case Missing::kSamples:
            return "Nothing was decided: there is no sample of any metric.";
        case Missing::kEndpoint:
            return "Nothing was decided: no metric has an endpoint above 0.";
        case Missing::kStableEvaluations:
            return disagreementText(launch.outcome);
        case Missing::kNothing:
            break;
    }
    if (!launch.finalIndex()) return "The dump does not say what was decided.";
    return "The launch's endpoint is that of " + namesOf(explanation.setBy) +
           ", the last to settle.";
}

void writeVerdict(std::ostream& out, const DumpedLaunch& launch) {
    const std::optional<JudgedLaunch> judged = judge(launch);
    if (!judged) return;
    const char* const subject = launch.finalIndex() ? "Doubted: " : "Remark: ";
    if (!judged->verdict.isSettled()) out << "  " << subject << doubtText(*judged) << ".\n";
    out << "  Second opinion, by memory alone: " << opinionText(assessmentOf(launch, judged))
        << ".\n";
}

void writeTimes(std::ostream& out, const DumpedLaunch& launch) {
    out << "Times count from the first sample on; a sample is taken every " << kSamplePeriodMs
        << " ms.\n";
    if (!launch.note || !launch.note->firstSampleSinceStartMs) return;
    out << "The first one of launch " << launch.number << " was taken "
        << *launch.note->firstSampleSinceStartMs << " ms after its program's start.\n";
}

// --- All launches of the dump.

Spread spreadIn(const DumpSummary& summary) {
    return spreadOf(std::vector<double>(summary.endpointsMs.begin(), summary.endpointsMs.end()));
}

void writeSpread(std::ostream& out, const ExplanationReport& report) {
    const DumpSummary& summary = report.summary;
    out << "\nLaunches in the dump: " << summary.launches << ", settled: " << summary.settled
        << '\n';
    if (summary.settled > 0) {
        const Spread spread = spreadIn(summary);
        if (static_cast<std::int64_t>(summary.numbers.size()) < summary.settled) {
            out << "  compared are the last " << summary.numbers.size() << " that settled\n";
        }
        out << "  median " << rounded(spread.medianMs) << " ms, mean " << rounded(spread.meanMs)
            << " ms, from " << rounded(spread.smallestMs) << " to " << rounded(spread.largestMs)
            << " ms\n";
        for (const std::size_t i : spread.farFromRest) {
            out << "  far from the rest: launch " << summary.numbers[i] << ", "
                << rounded(summary.endpointsMs[i]) << " ms\n";
        }
    }
    if (report.storedMeanMs) {
        out << "  final endpoint as stored: " << *report.storedMeanMs << " ms, the mean of the "
            << kLaunchesToLearn << " launches that made it,\n"
            << "  recorded here or not, each counted from the first look for its process\n";
    }
}

// --- JSON.

const char* idOf(MetricFinding finding) {
    switch (finding) {
        case MetricFinding::kNoSamples:
            return "no_samples";
        case MetricFinding::kNeverNear:
            return "never_near";
        case MetricFinding::kSteadyFromStart:
            return "steady_from_start";
        case MetricFinding::kShortRun:
            return "short_run";
        case MetricFinding::kSettled:
            break;
    }
    return "settled";
}

Json idOf(ValueRule rule) {
    if (rule == ValueRule::kNone) return nullptr;
    return rule == ValueRule::kMean ? "close_values_averaged" : "newest";
}

Json idOf(Missing missing) {
    switch (missing) {
        case Missing::kNothing:
            break;
        case Missing::kEvaluation:
            return "evaluation";
        case Missing::kSamples:
            return "samples";
        case Missing::kEndpoint:
            return "endpoint";
        case Missing::kStableEvaluations:
            return "stable_evaluations";
    }
    return nullptr;
}

std::optional<std::int64_t> timeMsOf(std::optional<std::int32_t> index) {
    return index ? std::optional<std::int64_t>(timeMs(*index)) : std::nullopt;
}

Json toJson(const EndpointComparison& comparison) {
    return {{"difference_percent", comparison.differencePercent},
            {"stable", comparison.isStable},
            {"stable_in_a_row", comparison.stableInARow}};
}

Json toJson(const EvaluationExplanation& evaluation, Metric metric, std::int32_t streak) {
    const MetricExplanation& explanation = evaluation.metrics[metric];
    Json values = Json::array();
    for (const CountedValue& one : explanation.frequentValues)
        values.push_back({{"value", one.value}, {"count", one.count}});
    Json json = {{"samples", explanation.samples},
                 {"frequent_values", values},
                 {"settled_value", orNull(explanation.settledValue)},
                 {"settled_value_rule", idOf(explanation.rule)},
                 {"tolerance_percent", traitsOf(metric).tolerancePercent},
                 {"finding", idOf(explanation.finding)},
                 {"endpoint_index", orNull(explanation.endpointIndex)},
                 {"endpoint_ms", orNull(timeMsOf(explanation.endpointIndex))},
                 {"run_samples", explanation.samplesInRun},
                 {"run_samples_required", streak}};
    json["compared"] =
        evaluation.comparisons ? toJson((*evaluation.comparisons)[metric]) : Json(nullptr);
    return json;
}

Json toJson(const LaunchExplanation& explanation, std::int32_t streak) {
    Json evaluations = Json::array();
    for (const EvaluationExplanation& evaluation : explanation.evaluations) {
        Json metrics = Json::object();
        for (const Metric metric : kMetrics)
            metrics[traitsOf(metric).jsonName] = toJson(evaluation, metric, streak);
        evaluations.push_back({{"samples", evaluation.samples}, {"metrics", metrics}});
    }
    return evaluations;
}

Json launchToJson(const DumpedLaunch& launch) {
    const LaunchExplanation explanation = explain(launch);
    Json setBy = Json::array();
    for (const Metric metric : explanation.setBy)
        setBy.push_back(traitsOf(metric).jsonName);
    Json json{{"number", launch.number},
              {"line", launch.line},
              {"long", launch.isLong()},
              {"outcome", idOf(launch.outcome)},
              {"endpoint_index", orNull(launch.finalIndex())},
              {"endpoint_ms", orNull(timeMsOf(launch.finalIndex()))},
              {"set_by", setBy},
              {"missing", idOf(explanation.missing)}};
    json["first_sample_since_start_ms"] =
        orNull(launch.note ? launch.note->firstSampleSinceStartMs : std::nullopt);
    addAssessment(json, assessmentOf(launch, judge(launch)));
    json["evaluations"] = toJson(explanation, launch.streak());
    return json;
}

Json spreadToJson(const ExplanationReport& report) {
    const DumpSummary& summary = report.summary;
    Json far = Json::array();
    std::optional<Spread> spread;
    if (summary.settled > 0) {
        spread = spreadIn(summary);
        for (const std::size_t i : spread->farFromRest)
            far.push_back(summary.numbers[i]);
    }
    const auto orNone = [&](double Spread::*member) {
        return spread ? Json((*spread).*member) : Json(nullptr);
    };
    return {{"launches", summary.launches},
            {"settled", summary.settled},
            {"compared", summary.numbers.size()},
            {"stored_mean_ms", orNull(report.storedMeanMs)},
            {"mean_ms", orNone(&Spread::meanMs)},
            {"median_ms", orNone(&Spread::medianMs)},
            {"smallest_ms", orNone(&Spread::smallestMs)},
            {"largest_ms", orNone(&Spread::largestMs)},
            {"far_from_rest", far}};
}

}  // namespace

void DumpSummary::add(const DumpedLaunch& launch) {
    ++launches;
    if (!launch.finalIndex()) return;
    ++settled;
    numbers.push_back(launch.number);
    endpointsMs.push_back(static_cast<double>(timeMs(*launch.finalIndex())));
    if (numbers.size() <= kMostCompared) return;
    numbers.pop_front();
    endpointsMs.pop_front();
}

std::string explanationText(const DumpedLaunch& launch) {
    const LaunchExplanation explanation = explain(launch);
    std::ostringstream out;
    if (explanation.evaluations.size() > 1) writeEvaluations(out, explanation.evaluations);
    if (!explanation.evaluations.empty()) {
        for (const Metric metric : kMetrics)
            writeMetric(out, explanation.evaluations.back().metrics[metric], metric,
                        launch.streak());
    }
    out << "  " << decisionText(launch, explanation) << '\n';
    if (launch.isLong() && !explanation.evaluations.empty()) {
        out << "  " << stabilityText(explanation.evaluations) << ".\n  " << stabilityRule() << '\n';
    }
    writeVerdict(out, launch);
    return out.str();
}

std::string renderText(const ExplanationReport& report) {
    const DumpedLaunch& launch = report.launch;
    std::ostringstream out;
    out << printable(titleOf(report.source)) << ", launch " << launch.number << " of "
        << report.summary.launches << " (line " << launch.line << "): " << verdictText(launch)
        << (launch.isLong() ? ", a long launch" : "") << '\n'
        << explanationText(launch);
    writeSpread(out, report);
    writeTimes(out, launch);
    return out.str();
}

std::string renderJson(const ExplanationReport& report) {
    return jsonLine({{"schema_version", kExplainSchemaVersion},
                     {"package", report.source.package},
                     {"file", report.source.file},
                     {"launch", launchToJson(report.launch)},
                     {"spread", spreadToJson(report)}});
}

}  // namespace host
