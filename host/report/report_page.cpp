// The page of a report: one file that loads nothing.
#include "host/report/report_page.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <set>
#include <sstream>

#include "host/dump/dump_verdict.h"
#include "host/dump/explanation_report.h"
#include "host/report/html.h"
#include "host/report/report_pictures.h"
#include "host/report/report_style.h"
#include "host/state/spread.h"

namespace host {
namespace {

constexpr std::size_t kKbPerMb = 1024;

std::string paragraph(const std::string& text) {
    return "<p>" + text + "</p>\n";
}

std::string counted(std::size_t count, const std::string& what, const std::string& many) {
    return std::to_string(count) + ' ' + (count == 1 ? what : many);
}

std::string launchesText(std::size_t count) {
    return counted(count, "launch", "launches");
}

// With the time zone, for readers elsewhere.
std::string timeText(std::int64_t unixMs) {
    const auto seconds = static_cast<std::time_t>(unixMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::ostringstream out;
    out << std::put_time(&local, "%Y-%m-%d %H:%M (UTC%z)");
    return out.str();
}

std::string summarySentence(const ReportedLaunches& launches) {
    std::string text =
        launchesText(launches.inAll) + ", " + std::to_string(launches.settled) + " settled";
    if (launches.doubted > 0) text += ", " + std::to_string(launches.doubted) + " of them doubted";
    if (!launches.sinceStartMs.empty()) {
        const Spread spread = spreadOf(launches.sinceStartMs);
        text += "; since the start " + msHtml(spread.medianMs) + " in the median";
        if (launches.sinceStartMs.size() > 1)
            text += ", " + msHtml(spread.smallestMs) + " to " + msHtml(spread.largestMs);
    }
    text += ".";
    if (launches.launches.size() < launches.inAll)
        text += " The last " + std::to_string(launches.launches.size()) + " are shown.";
    return text;
}

std::string commandText(const std::vector<std::string>& command) {
    std::string text;
    for (const std::string& word : command)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

std::string measuredText(const Measurement& measured) {
    const Machine& machine = measured.machine;
    const std::string processors =
        counted(static_cast<std::size_t>(std::max(machine.processors, 0)), "processor",
                "processors") +
        (machine.processor.empty() ? "" : " (" + machine.processor + ')');
    return "Measured on " + htmlText(machine.host) + ", " + timeText(measured.measuredAtUnixMs) +
           ": " + htmlText(machine.architecture) + ", " + htmlText(processors) + ", " +
           std::to_string(machine.memoryKb / static_cast<std::int64_t>(kKbPerMb)) +
           " MB of memory, " + htmlText(machine.kernel) + ", library " + htmlText(machine.library) +
           ". The library looked at each launch in " + windowText(windowOf(measured.kind)) +
           ". The command: <code>" + htmlText(commandText(measured.command)) + "</code>";
}

std::string windowsText(const std::deque<DumpedLaunch>& launches) {
    std::set<std::string> windows;
    for (const DumpedLaunch& launch : launches) {
        if (launch.note && launchKindFault(launch.note->kind).empty())
            windows.insert(windowText(windowOf(launch.note->kind)));
    }
    std::string text;
    for (const std::string& window : windows)
        text += (text.empty() ? "" : " or ") + window;
    return text;
}

// Without the folders of whoever writes the page.
std::string fileName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string dumpText(const Recording& recording, const ReportedLaunches& launches) {
    const auto noted = static_cast<std::size_t>(
        std::count_if(launches.launches.begin(), launches.launches.end(),
                      [](const DumpedLaunch& launch) { return launch.note.has_value(); }));
    std::string text = "Read from the dump <code>" + htmlText(fileName(recording.file)) +
                       "</code>, which does not say on what machine or by what build of the "
                       "library it was recorded.";
    const std::string windows = windowsText(launches.launches);
    if (!windows.empty()) text += " The library looked at the launches in " + windows + '.';
    if (noted == launches.launches.size()) return text;
    return text + ' ' +
           (noted == 0 ? "There are no notes beside it"
                       : "There are notes on " + launchesText(noted) + " of those shown") +
           ": without one, neither the program's start nor what came after the library's last "
           "sample is known.";
}

constexpr const char* kHowToRead =
    "<p>A launch has <em>settled</em> at its endpoint, from where on what was sampled, memory "
    "first of all, stays at its level. In the text “settled at” and the second opinion count from "
    "the library's first sample; “after the start” is measured from the start of the launched "
    "program, as exactly as a clock tick (10 ms), and is how long a person waits. A stored or "
    "final "
    "endpoint counts from the library's first look for the process, 200 ms after it was told of "
    "the launch. What a picture's time counts from stands below it. A MB is 1024 kB.</p>\n"
    "<p>A launch is <em>doubted</em> when what was seen of its memory speaks against the endpoint; "
    "the second opinion is a separate estimate, by memory alone. In a picture the pale band is "
    "what "
    "counts as the settled level, the grey field the time before the first sample.</p>\n"
    "<p class='soft'>Lines: <span class='k ep'>endpoint</span><span class='k op'>second opinion, "
    "where it differs</span><span class='k fl'>the library's first look</span><span class='k "
    "we'>end of the library's window</span><span class='k be'>seen behind it</span></p>\n";

}  // namespace

void ReportedLaunches::add(DumpedLaunch launch) {
    ++inAll;
    const Assessment assessment = assessmentOf(launch, judge(launch));
    if (launch.finalIndex()) {
        ++settled;
        if (assessment.isDoubted()) ++doubted;
        if (assessment.sinceStartMs) sinceStartMs.push_back(*assessment.sinceStartMs);
    }
    launches.push_back(std::move(launch));
    if (launches.size() > kMostReported) launches.pop_front();
}

void ReportPage::add(const Recording& recording, const ReportedLaunches& launches) {
    if (mRecorded.empty())
        mRecorded.push_back({"RECORDED", "LAUNCHES", "SETTLED", "DOUBTED", "SINCE START"});
    const bool hasTimes = !launches.sinceStartMs.empty();
    mRecorded.push_back({recording.title, std::to_string(launches.inAll),
                         std::to_string(launches.settled), std::to_string(launches.doubted),
                         hasTimes ? msHtml(spreadOf(launches.sinceStartMs).medianMs) : "-"});
    mLinks.push_back(nextId());
    mSections += "<section id='" + mLinks.back() + "'>\n<h2>" + htmlText(recording.title) +
                 "</h2>\n" + paragraph(summarySentence(launches));
    mSections += "<p class='soft'>" +
                 (recording.measurement ? measuredText(*recording.measurement)
                                        : dumpText(recording, launches)) +
                 "</p>\n";
    std::vector<const DumpedLaunch*> drawn;
    for (const DumpedLaunch& launch : launches.launches) {
        if (launch.hasSamples()) drawn.push_back(&launch);
    }
    if (drawn.size() > 1)
        mSections += overlayFigure(drawn, recording.title + ", all launches", nextId());
    mSections += "<div class='cards'>\n";
    for (const DumpedLaunch& launch : launches.launches)
        addLaunch(launch, recording.title);
    mSections += "</div>\n</section>\n";
}

void ReportPage::addLaunch(const DumpedLaunch& launch, const std::string& title) {
    const std::string name = "launch " + std::to_string(launch.number);
    mSections += "<article>\n<h3>" + name + ": " + htmlText(verdictText(launch)) + "</h3>\n";
    if (launch.note)
        mSections += "<p class='soft'>" + timeText(launch.note->launchedAtUnixMs) + "</p>\n";
    if (launch.hasSamples()) mSections += launchFigure(launch, title + ", " + name, nextId());
    const bool hasTable = launch.evaluations.size() > 1;
    mSections += "<details><summary>Why it ended there</summary><pre" +
                 std::string(hasTable ? " class='table'" : "") + '>' +
                 escaped(explanationText(launch)) + "</pre></details>\n</article>\n";
}

void ReportPage::addUnrecorded(const std::string& package) {
    mSections += "<section>\n<h2>" + htmlText(package) + "</h2>\n" +
                 paragraph("There is no recording of it: it was learned without --dump.") +
                 "</section>\n";
}

std::string ReportPage::title() const {
    const std::size_t known = mKnown.empty() ? 0 : mKnown.size() - 1;
    const std::size_t rows = std::max(known, mLinks.size());
    if (rows != 1) return "Launches";
    return "Launches of " + (mLinks.size() == 1 ? mRecorded[1] : mKnown[1]).front();
}

std::string ReportPage::html(const std::string& version, std::int64_t writtenAtUnixMs) const {
    std::string text =
        "<!DOCTYPE html>\n<html lang='en'>\n<head>\n<meta charset='utf-8'>\n"
        "<meta http-equiv='Content-Security-Policy' content=\"default-src 'none'; style-src "
        "'unsafe-inline'\">\n<meta name='viewport' content='width=device-width, "
        "initial-scale=1'>\n<title>" +
        htmlText(title()) + "</title>\n<style>" + kReportStyle + "</style>\n</head>\n<body>\n<h1>" +
        htmlText(title()) + "</h1>\n<p class='soft'>Written by " + htmlText(version) + ", " +
        timeText(writtenAtUnixMs) + "; times of day are of that zone.</p>\n";
    if (mKnown.size() > 1) text += "<h2>What is known</h2>\n" + tableHtml(mKnown, {});
    if (mRecorded.size() > 1) text += "<h2>Recorded launches</h2>\n" + tableHtml(mRecorded, mLinks);
    if (!mComparison.empty()) text += "<h2>Comparison</h2>\n" + mComparison;
    return text + "<h2>How to read this</h2>\n" + kHowToRead + mSections + "</body>\n</html>\n";
}

}  // namespace host
