// Pictures: what is drawn, and what becomes of the file.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/dump/picture_file.h"
#include "host/dump/plot_script.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string scriptOf(const std::vector<const DumpedLaunch*>& launches) {
    Picture picture;
    picture.format = PictureFormat::kSvg;
    picture.package = "com.app";
    picture.launches = launches;
    picture.metrics = metricsWithSamples(launches);
    return plotScript(picture);
}

TEST(PlotScript, LinesStandAtTheEndpointsAndTheBandAtTheTolerance) {
    const Dump dump = golden("python3");  // 24 memory, 270 ms; endpoints 6, 0, 9
    EXPECT_THAT(
        scriptOf({&dump.launch(1)}),
        AllOf(HasSubstr("title 'com.app, launch 1: settled at 270 ms'"),
              HasSubstr("set arrow from first 180,graph 0"), HasSubstr("'memory endpoint 180 ms'"),
              HasSubstr("'launch endpoint 270 ms (descriptors)'"),
              HasSubstr("0 26199.36 26728.64"),  // 26464 kB, 1 %
              HasSubstr("667 ± 5 %, no endpoint"), HasSubstr("multiplot layout 3,1")));
}

TEST(PlotScript, OnlyTheNewestLaunchesHaveALookOfTheirOwn) {
    const Dump dump = golden("java");
    std::vector<const DumpedLaunch*> launches(9, &dump.launch(1));
    launches.push_back(&dump.launch(2));
    EXPECT_THAT(scriptOf(launches), AllOf(HasSubstr("title 'older launches'"),
                                          HasSubstr("title 'launch 2, settled at 1350 ms'"),
                                          HasSubstr("'median endpoint 2190 ms'")));
}

TEST(PlotScript, ADoubtStandsInTheTitleAndTheSecondOpinionWhereItDiffers) {
    const Dump dump = golden("chromium");
    const DumpedLaunch* const launch = &dump.launch(1);
    EXPECT_THAT(scriptOf({launch}),
                AllOf(HasSubstr("settled at 1200 ms: doubted, later than its memory'"),
                      HasSubstr("set arrow from first 660,graph 0"),
                      HasSubstr("'second opinion 660 ms, within 300 ms'")));
    EXPECT_THAT(scriptOf({launch, launch}), HasSubstr("2 settled, 2 of them doubted"));
    const Dump java = golden("java");
    EXPECT_THAT(scriptOf({&java.launch(1)}), Not(HasSubstr("second opinion")));
}

TEST(PlotScript, LaunchesWithoutResultsAreDrawnTooAndMissingMetricsAreNot) {
    Dump dump = golden("node");
    EXPECT_THAT(metricsWithSamples({&dump.launch(2)}),
                ElementsAre(Metric::kVmRss, Metric::kOomScore));
    dump.launches[1].evaluations.clear();
    dump.launches[1].outcome = DumpOutcome::kCutOff;
    EXPECT_THAT(scriptOf({&dump.launch(2)}),
                AllOf(HasSubstr("launch 2: cut off"), Not(HasSubstr("arrow from"))));
}

class PlotVerb : public HostTest {
protected:
    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(mFolder / "."), fs::directory_iterator()));
    }
};

TEST_F(PlotVerb, WritesEachKindOfPictureAndThroughALinkOverAnOldOne) {
    umask(022);
    std::ofstream(mFolder / "old.svg") << "old";
    fs::create_symlink("old.svg", mFolder / "link.svg");
    EXPECT_EQ(host({"plot", goldenFile("python3-game"), "-o", mFolder / "link.svg"}), 0) << mErr;
    EXPECT_TRUE(fs::is_symlink(mFolder / "link.svg"));
    EXPECT_THAT(contentOf(mFolder / "old.svg"),
                AllOf(StartsWith("<?xml"), HasSubstr("launch endpoint 7470 ms (memory)"),
                      HasSubstr("</svg>")));
    EXPECT_EQ(host({"plot", goldenFile("chromium"), "--all", "-o", mFolder / "a.png"}), 0) << mErr;
    EXPECT_THAT(contentOf(mFolder / "a.png"), StartsWith("\x89PNG"));
    EXPECT_EQ(host({"plot", goldenFile("java"), "--launch", "1", "--metric", "vmrss"}), 0) << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr("launch 1: settled at 2190 ms"), HasSubstr("***"),
                            Not(HasSubstr("OOM")), Not(HasSubstr("\f"))));
    EXPECT_EQ(fs::status(mFolder / "a.png").permissions(), fs::perms{0644});
    EXPECT_EQ(files(), 3U) << "something was left beside them";
}

// What gnuplot, a shell or a page would take for a command.
TEST_F(PlotVerb, AHostileFileNameRunsNothing) {
    const std::string name =
        "we'ird \"q\" `touch pwned` %s @x {y}_^ $(touch pwned)\nsystem('touch pwned')<b>&\xff";
    const std::string file = mFolder / (name + "_vmrss.csv");
    fs::copy_file(goldenFile("node"), file);
    const fs::path before = fs::current_path();
    fs::current_path(mFolder / ".");
    EXPECT_EQ(host({"plot", file, "-o", mFolder / (name + ".svg")}), 0) << mErr;
    fs::current_path(before);
    EXPECT_THAT(contentOf(mFolder / (name + ".svg")),
                HasSubstr("we'ird \"q\" `touch pwned` %s @x {y}_^ $(touch"));
    EXPECT_EQ(files(), 2U);
}

TEST_F(PlotVerb, AFailureLeavesTheOldPictureAndNothingElse) {
    const std::string java = goldenFile("java");
    std::ofstream(mFolder / "a.svg") << "old";
    std::ofstream(mFolder / "gnuplot")
        << "#!/bin/sh\necho half\necho 'line 3: broken' >&2\nexit 1\n";
    fs::permissions(mFolder / "gnuplot", fs::perms::owner_all);
    EXPECT_EQ(host({"plot", java, "-o", mFolder / "a.svg"}, {"PATH=" + (mFolder / ".")}), 3);
    EXPECT_THAT(mErr, AllOf(HasSubstr("gnuplot failed"), HasSubstr("line 3: broken")));
    EXPECT_EQ(host({"plot", java}, {"PATH=/nowhere"}), 3);
    EXPECT_THAT(mErr, HasSubstr("gnuplot-nox"));
    EXPECT_EQ(host({"plot", java, "-o", mFolder / "a.pdf"}), 2);

    mkfifo((mFolder / "fifo.svg").c_str(), 0600);
    EXPECT_EQ(host({"plot", java, "-o", mFolder / "fifo.svg"}), 3);
    EXPECT_TRUE(fs::is_fifo(mFolder / "fifo.svg")) << "a picture took its place";

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit fullDisk{1000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &fullDisk);
    EXPECT_THROW(writePicture(mFolder / "a.svg", std::string(5000, 'x')), HostError);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(contentOf(mFolder / "a.svg"), "old");
    EXPECT_EQ(files(), 3U) << "the picture, gnuplot and the fifo";
}

TEST_F(PlotVerb, NothingToDrawIsSaid) {
    EXPECT_EQ(host({"plot", goldenFile("python3"), "--launch", "3"}), 1);
    EXPECT_THAT(mErr, HasSubstr("launch 3 has no samples"));
    EXPECT_EQ(host({"plot", goldenFile("node"), "--metric", "fd"}), 1) << "the last has none";
}

}  // namespace
}  // namespace host
