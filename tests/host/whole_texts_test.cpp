// What is told and drawn of recorded launches, whole, as tests/data/texts has it. A text
// that is meant to change is taken from where its failing test has put it.
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/dump/explanation_report.h"
#include "host/dump/plot_script.h"
#include "host/export/launch_export.h"
#include "host/report/report_page.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

void expectRecorded(const std::string& name, const std::string& text) {
    if (text == contentOf(ORVO_TEST_DATA_DIR "/texts/" + name)) return;
    const std::string told = testing::TempDir() + name;
    std::ofstream(told) << text;
    ADD_FAILURE() << "diff " ORVO_TEST_DATA_DIR "/texts/" << name << ' ' << told;
}

// That settles behind the window, decided at a rest, with two evaluations.
DumpedLaunch restless(std::int64_t number) {
    DumpedLaunch launch;
    launch.number = number;
    launch.outcome = DumpOutcome::kDecided;
    LaunchNote note;
    for (int i = 0; i < 14; ++i) {
        launch.series[Metric::kVmRss].push_back(20'000 + 1000 * std::min(i, 8));
        launch.series[Metric::kOomScore].push_back(667);
        note.lookAfterKb.push_back(28'000 + 1000 * std::min(i, 4));
    }
    launch.evaluations.resize(2);
    for (Evaluation& evaluation : launch.evaluations) {
        evaluation.metrics[Metric::kVmRss] = {12, {28'000, 20'000}, 28'000, 8};
        evaluation.metrics[Metric::kOomScore] = {12, {667}, 667, 0};
    }
    launch.evaluations[1].metrics[Metric::kVmRss].samples = 14;
    launch.evaluations[1].finalIndex = 8;
    note.samples = note.windowSamples = 14;
    note.launchedAtUnixMs = 1'700'000'000'123;
    note.firstSampleSinceStartMs = 210;
    note.lastSampleSinceStartMs = 210 + 13 * 31;
    note.endpointMs = 255;
    note.assessment.sinceStartMs = 458;
    launch.note = note;
    return launch;
}

TEST(WholeTexts, Explanations) {
    const Dump game = golden("python3-game");
    const Dump node = golden("node");
    expectRecorded("explain-long", renderText(game.explained(1)));
    expectRecorded("explain-undecided", renderText(node.explained(2, 955)));
    DumpSummary summary;
    const DumpedLaunch launch = restless(1);
    summary.add(launch);
    const ExplanationReport report{{"com.a_vmrss.csv", "com.a", true}, summary, launch, {}};
    expectRecorded("explain-noted", renderText(report));
    expectRecorded("explain-noted.json", renderJson(report));
}

TEST(WholeTexts, Pictures) {
    const DumpedLaunch launch = restless(1);
    DumpedLaunch other = restless(2);
    other.series[Metric::kVmRss][3] += 500;
    Picture picture;
    picture.format = PictureFormat::kSvg;
    picture.package = "com.a";
    picture.launches = {&launch};
    picture.metrics = {Metric::kVmRss, Metric::kOomScore};
    expectRecorded("plot-one", plotScript(picture).script);
    picture.format = PictureFormat::kText;
    const PlotScript text = plotScript(picture);
    expectRecorded("plot-text",
                   text.above + text.script.substr(text.script.find("EOD\nset")) + text.below);
    picture.format = PictureFormat::kPng;
    picture.launches = {&launch, &other};
    picture.metrics = {Metric::kVmRss};
    expectRecorded("plot-all", plotScript(picture).script);
}

TEST(WholeTexts, PageAndExports) {
    setenv("TZ", "UTC", 1);
    const Recording recording(DumpSource{"com.a_vmrss.csv", "com.a", true});
    const DumpedLaunch launch = restless(1);
    ReportedLaunches reported;
    reported.add(launch);
    reported.add(golden("python3").launch(1));
    ReportPage page;
    page.add(recording, reported);
    const std::string html = page.html("orvo-host 1", 0);
    expectRecorded("report.html", html.substr(html.find("</style>")));
    for (const char* format : {"json", "markdown"}) {
        const auto result = exportAs(format);
        std::string text = result->start();
        text += result->startRecording(recording);
        text += result->add(launch);
        text += result->endRecording();
        expectRecorded(std::string("export-") + format, text + result->end());
    }
}

}  // namespace
}  // namespace host
