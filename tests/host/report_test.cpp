// The page of a report: names that mean harm, what is missing, and how large it gets.
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/report/comparison_section.h"
#include "host/report/svg_chart.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/made_up_store.h"
#include "tests/host/program.h"
#include "tests/host/recorded_text.h"

namespace host {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

std::string pageOf(const Recording& recording, const std::vector<DumpedLaunch>& launches) {
    ReportedLaunches reported;
    for (const DumpedLaunch& launch : launches)
        reported.add(launch);
    ReportPage page;
    page.add(recording, reported);
    return page.html("orvo-host 1", 0);
}

Recording recordingOf(const std::string& name) {
    return Recording(DumpSource{"/home/somebody/" + name + "_vmrss.csv", name, false});
}

TEST(Report, OfManyLaunchesTheLastAreShownAndAllAreCounted) {
    const DumpedLaunch launch = golden("java").launch(1);
    EXPECT_THAT(pageOf(recordingOf("<j>"), std::vector<DumpedLaunch>(kMostReported + 2, launch)),
                AllOf(HasSubstr("<title>Launches of &lt;j&gt;</title>"),
                      HasSubstr("<h1>Launches of &lt;j&gt;</h1>"),
                      HasSubstr("102 launches, 102 settled. The last 100 are shown."),
                      HasSubstr("launch 1, one of 100 alike")));
}

TEST(Report, ALongLineIsThinnedButKeepsItsPeaks) {
    SvgChart chart(TimeSpan(0, 60'000, "ms"));
    chart.startPanel(Metric::kVmRss, {1, "kB"}, 0, 100, false);
    SvgChart::Points points;
    for (int i = 0; i < 20'000; ++i)
        points.emplace_back(3 * i, i == 10'001 ? 100 : i % 2);
    chart.addLine(points, "se");
    const std::string picture = chart.build("p", "a", "b");
    EXPECT_LT(picture.size(), 20'000U);
    // From just above the bottom to the peak, which has 6 % of room above: 150 / 1.12 high.
    EXPECT_THAT(picture, ContainsRegex("-13[234]"));
}

TEST(Report, GenerationsAreComparedByTheTimeSinceTheStart) {
    const auto side = [](std::int32_t addedMs) {
        ReportedLaunches launches;
        for (int i = 0; i < 7; ++i) {
            DumpedLaunch launch = golden("java").launch(2);
            launch.number = i + 1;
            launch.note.emplace();
            launch.note->samples = launch.note->windowSamples = 100;
            launch.note->firstSampleSinceStartMs = 200;
            launch.note->lastSampleSinceStartMs = 3200;
            if (i < 6) launch.note->assessment.sinceStartMs = 1500 + addedMs + i;
            launches.add(launch);
        }
        return launches;
    };
    const Recording older = recordingOf("a");
    const Recording newer = recordingOf("<b>");
    ReportedLaunches bare;
    bare.add(golden("java").launch(2));
    expectRecorded("report-comparison", comparisonSection({older, side(0)}, {newer, side(150)}) +
                                            comparisonSection({older, bare}, {newer, side(0)}));
}

using ReportVerb = HostTest;

TEST_F(ReportVerb, RefusesInOneLineAndLeavesNoPage) {
    std::filesystem::create_directory(mState);
    const std::string page = mFolder / "page.html";
    EXPECT_EQ(host({"report", "-o", page}), kNotLearned) << mErr;
    EXPECT_EQ(host({"report", "com.never", "-o", page}), kNotLearned) << mErr;
    EXPECT_EQ(host({"report", "com.a", "com.b", "--generation", "1", "-o", page}), kUsage);
    EXPECT_EQ(host({"report", goldenFile("java")}), kUsage) << "without -o";
    EXPECT_FALSE(std::filesystem::exists(page));
    addRow(mState + "/orvo.db", "OrvoStatus", "com.a", {0, 1});
    EXPECT_EQ(host({"report", "-o", page}), kDone) << mErr;
    EXPECT_THAT(contentOf(page), HasSubstr("learned without --dump"));
    EXPECT_EQ(host({"report", goldenFile("java"), goldenFile("node"), "-o", page}), kDone) << mErr;
    EXPECT_TRUE(std::filesystem::exists(page));
}

}  // namespace
}  // namespace host
