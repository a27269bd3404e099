// The reader of results files, and all that is made of what it reads.
#include <algorithm>

#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/prefix.h"
#include "host/base/printable.h"
#include "host/compare/comparison_report.h"
#include "host/export/launch_export.h"

namespace {

const std::string kName = "r.json";

bool isOneLine(const std::string& text) {
    return !text.empty() && host::printable(text) == text;
}

void requirePlainLines(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        fuzz::require(line.empty() || isOneLine(line));
}

void requireJson(const std::string& text) {
    const auto isPlain = [](char c) { return (c >= ' ' && c <= '~') || c == '\n'; };
    fuzz::require(std::all_of(text.begin(), text.end(), isPlain) && host::Json::accept(text));
}

void requireTimes(const host::Measurement& measurement) {
    for (const host::MeasuredLaunch& launch : measurement.launches) {
        for (const host::TimeBy by : {host::TimeBy::kEndpoint, host::TimeBy::kOpinion})
            fuzz::require(launch.timeMs(by).value_or(0) >= 0);
    }
}

void requireComparison(const host::Measurement& older, const host::Measurement& newer) {
    for (const host::TimeBy by : {host::TimeBy::kEndpoint, host::TimeBy::kOpinion}) {
        try {
            const host::Comparison comparison = host::compare(older, newer, by);
            requirePlainLines(host::renderText(comparison));
            requireJson(host::jsonLine(host::jsonOf(comparison)));
            const bool isJudged = comparison.finding != host::Finding::kTooFewRuns;
            fuzz::require(isJudged == (comparison.intervalMs && comparison.p));
        } catch (const host::HostError& error) {
            fuzz::require(error.code() == host::kNotLearned);
        }
    }
}

std::string exported(const std::string& format, const std::vector<host::Recording>& recordings) {
    const std::unique_ptr<host::LaunchExport> launches = host::exportAs(format);
    std::string text = launches->start();
    for (const host::Recording& recording : recordings) {
        text += launches->startRecording(recording);
        host::forEachLaunch(recording, [&](const host::DumpedLaunch& launch) {
            for (const host::Evaluation& evaluation : launch.evaluations)
                fuzz::require(evaluation.samples() <= launch.samples());
            text += launches->add(launch);
        });
        text += launches->endRecording();
    }
    return text + launches->end();
}

void requireExports(const host::Results& results) {
    const std::vector<host::Recording> recordings = host::recordingsOf(results, kName);
    for (const std::string& format : host::exportFormats()) {
        const std::string text = exported(format, recordings);
        const bool isJson = format == "json" || format == "trace";
        isJson ? requireJson(text) : requirePlainLines(text);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    host::Results results;
    try {
        results = host::parseResults({reinterpret_cast<const char*>(data), size}, kName);
    } catch (const host::HostError& error) {
        const std::string told = error.what();
        fuzz::require(error.code() == host::kUsage && isOneLine(told));
        fuzz::require(host::startsWith(told, kName + ": "));
        return 0;
    }
    const std::string text = host::renderResults(results);
    fuzz::require(host::renderResults(host::parseResults(text, kName)) == text);
    for (const host::Measurement& measurement : results)
        requireTimes(measurement);
    requireComparison(results.front(), results.back());
    requireExports(results);
    return 0;
}
