// What is told and drawn of recorded launches, and handed on, whole.
#include <cstdlib>
#include <ctime>
#include <deque>

#include "host/dump/explanation_report.h"
#include "host/dump/plot_script.h"
#include "host/dump/recorded_probe.h"
#include "host/export/launch_export.h"
#include "host/report/report_page.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/recorded_text.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

/// That settles behind the window, decided at a rest, with two evaluations.
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
    const Dump node = golden("node");
    expectRecorded("explain-long", renderText(golden("python3-game").explained(1)));
    expectRecorded("explain-late", renderText(golden("chromium").explained(1)));
    expectRecorded("explain-undecided", renderText(node.explained(2, 955)));
    expectRecorded("explain-undecided-json", renderJson(node.explained(2, 955)));
    expectRecorded("explain-aborted-json", renderJson(golden("python3").explained(3)));
    DumpSummary summary;
    const DumpedLaunch launch = restless(1);
    summary.add(launch);
    const ExplanationReport report{{"com.a_vmrss.csv", "com.a", true}, summary, launch, {}};
    expectRecorded("explain-noted", renderText(report));
    expectRecorded("explain-noted-json", renderJson(report));
}

Picture pictureOf(const std::vector<const DumpedLaunch*>& launches, PictureFormat format) {
    Picture picture;
    picture.format = format;
    picture.package = "com.a";
    picture.launches = launches;
    picture.metrics = metricsWithSamples(launches);
    return picture;
}

/// Without the samples.
std::string frameOf(const PlotScript& script) {
    return script.above + script.script.substr(script.script.find("EOD\nset")) + script.below;
}

TEST(WholeTexts, Pictures) {
    const DumpedLaunch launch = restless(1);
    DumpedLaunch other = restless(2);
    other.series[Metric::kVmRss][3] += 500;
    expectRecorded("plot-one", plotScript(pictureOf({&launch}, PictureFormat::kSvg)).script);
    expectRecorded("plot-text", frameOf(plotScript(pictureOf({&launch}, PictureFormat::kText))));
    Picture all = pictureOf({&launch, &other}, PictureFormat::kPng);
    all.metrics = {Metric::kVmRss};
    expectRecorded("plot-all", plotScript(all).script);
    // By its descriptors, behind its memory's endpoint; and one whose memory settles there.
    for (const char* program : {"python3", "java"}) {
        const Dump dump = golden(program);
        const Picture one = pictureOf({&dump.launch(1)}, PictureFormat::kSvg);
        expectRecorded(std::string("plot-") + program, frameOf(plotScript(one)));
    }
}

TEST(WholeTexts, PictureInFewColumnsAndCharacters) {
    const Dump dump = golden("chromium");
    Picture picture = pictureOf({&dump.launch(1)}, PictureFormat::kText);
    picture.package = std::string(90, 'n') + "\u00e9";
    picture.columns = kFewestColumns;
    expectRecorded("plot-narrow", frameOf(plotScript(picture)));
    picture.isAscii = true;
    expectRecorded("plot-ascii", frameOf(plotScript(picture)));
}

// Only the newest have a look of their own, and those alike are one. One has a note.
TEST(WholeTexts, PictureOfManyLaunches) {
    const Dump dump = golden("java");
    std::deque<DumpedLaunch> others(8, dump.launch(1));
    std::vector<const DumpedLaunch*> launches;
    for (DumpedLaunch& other : others) {
        other.series[Metric::kVmRss][0] += static_cast<std::int32_t>(launches.size());
        launches.push_back(&other);
    }
    LaunchNote& note = others.front().note.emplace();
    note.firstSampleSinceStartMs = note.lastSampleSinceStartMs = 200;
    launches.insert(launches.end(), {&dump.launch(2), &dump.launch(2), &dump.launch(2)});
    expectRecorded("plot-many", frameOf(plotScript(pictureOf(launches, PictureFormat::kSvg))));
}

TEST(WholeTexts, PicturesOfLaunchesWithoutResults) {
    Dump dump = golden("node");
    dump.launches[1].evaluations.clear();
    dump.launches[1].outcome = DumpOutcome::kCutOff;
    const Picture cutOff = pictureOf({&dump.launch(2)}, PictureFormat::kSvg);
    expectRecorded("plot-cut-off", frameOf(plotScript(cutOff)));

    const TempFolder folder;
    const DumpSource source{folder / "a_vmrss.csv", "a", true};
    EXPECT_THAT([&] { recordedProbe(source); },
                refuses(kNotLearned, testing::HasSubstr("learn --dump")));
    ProbeSight sight;
    for (int i = 0; i < 160; ++i)
        sight.memoryKb.push_back(10'000 + 2000 * std::min(i, 70));
    sight.choice = *chooseWindow(sight.memoryKb);
    sight.firstMs = 210.4;
    std::ofstream(folder / "a_probe.jsonl") << toJsonLine(noteOf(ProbeSight{{}, 1, true, {5}}))
                                            << toJsonLine(noteOf(sight)) << "{\"cut off";
    const DumpedLaunch launch = recordedProbe(source);
    EXPECT_EQ(launch.series[Metric::kVmRss], sight.memoryKb);
    expectRecorded("plot-probe", frameOf(plotScript(pictureOf({&launch}, PictureFormat::kSvg))));
}

const std::string kHostile = "a'b\"<img onerror=x>&lt;|*b*";

struct Recorded {
    Recording recording;
    std::vector<DumpedLaunch> launches;
};

/// Some with their times, as a dump's note or a measurement has them, and some without;
/// and a recording without notes, of a launch that decided and one that was stopped.
std::vector<Recorded> recordedOnes() {
    std::vector<DumpedLaunch> noted{restless(1), restless(2), restless(3)};
    noted[1].sampledAtMs = {210, 239, 280};
    noted[1].series[Metric::kFdCount] = {7};
    noted[1].evaluations.clear();
    noted[1].unevaluated = "exited | early";
    noted[2].note->firstSampleSinceStartMs.reset();
    const Dump dump = golden("python3");
    return {
        {Recording({"/home/somebody/" + kHostile + "_vmrss.csv", kHostile, false}), noted},
        {Recording({"com.b_vmrss.csv", "com.b", true}), {dump.launch(1), dump.launch(3)}},
    };
}

TEST(WholeTexts, Exports) {
    for (const std::string& format : exportFormats()) {
        const auto result = exportAs(format);
        std::string text = result->start();
        for (const Recorded& recorded : recordedOnes()) {
            text += result->startRecording(recorded.recording);
            for (const DumpedLaunch& launch : recorded.launches)
                text += result->add(launch);
            text += result->endRecording();
        }
        expectRecorded("export-" + format, text + result->end());
    }
}

TEST(WholeTexts, Page) {
    setenv("TZ", "UTC", 1);
    tzset();
    ReportPage page;
    for (const Recorded& recorded : recordedOnes()) {
        ReportedLaunches reported;
        for (const DumpedLaunch& launch : recorded.launches)
            reported.add(launch);
        page.add(recorded.recording, reported);
    }
    const std::string html = page.html("orvo-host 1", 0);
    expectRecorded("report",
                   html.substr(0, html.find("<style>")) + html.substr(html.find("</style>")));
}

}  // namespace
}  // namespace host
