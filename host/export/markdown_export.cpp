// Recorded launches as tables in Markdown.
#include "host/base/printable.h"
#include "host/dump/dump_verdict.h"
#include "host/export/launch_export.h"

namespace host {
namespace {

constexpr std::string_view kSpecial = "\\`*_[]<>|~&";

// Text from outside as Markdown shows it, on one line.
std::string literal(const std::string& text) {
    std::string result;
    for (const char c : printable(text)) {
        if (kSpecial.find(c) != std::string_view::npos) result += '\\';
        result += c;
    }
    return result;
}

std::string cellOf(std::optional<std::int32_t> ms) {
    return ms ? std::to_string(*ms) + " ms" : "-";
}

std::string doubtsOf(const Assessment& assessment) {
    if (!assessment.doubts) return "-";
    return assessment.doubts->empty() ? "none" : doubtNames(assessment);
}

class MarkdownExport : public LaunchExport {
public:
    std::string start() override { return ""; }

    std::string startRecording(const Recording& recording) override {
        mLaunches = mSettled = 0;
        return "**" + literal(recording.title) +
               "**\n\n| launch | settled | since start | doubts | second opinion |\n"
               "| ---: | ---: | ---: | --- | ---: |\n";
    }

    std::string add(const DumpedLaunch& launch) override {
        ++mLaunches;
        if (launch.finalIndex()) ++mSettled;
        const Assessment assessment = assessmentOf(launch, judge(launch));
        const std::string settled = launch.finalIndex()
                                        ? std::to_string(timeMs(*launch.finalIndex())) + " ms"
                                        : literal(unsettledText(launch));
        const std::string opinion =
            assessment.secondOpinionMs ? opinionText(assessment) : std::string("-");
        return "| " + std::to_string(launch.number) + " | " + settled + " | " +
               cellOf(assessment.sinceStartMs) + " | " + doubtsOf(assessment) + " | " + opinion +
               " |\n";
    }

    std::string endRecording() override {
        return '\n' + std::to_string(mLaunches) + (mLaunches == 1 ? " launch, " : " launches, ") +
               std::to_string(mSettled) + " settled.\n\n";
    }

    std::string end() override {
        return "Settled and the second opinion count from the library's first sample, since start "
               "from the\nprogram's start, where that was measured.\n";
    }

private:
    std::int64_t mLaunches = 0;
    std::int64_t mSettled = 0;
};

}  // namespace

std::unique_ptr<LaunchExport> exportMarkdown() {
    return std::make_unique<MarkdownExport>();
}

}  // namespace host
