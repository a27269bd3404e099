// Pictures: what the script draws, and what becomes of the file.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "host/dump/dump_file.h"
#include "host/dump/picture_file.h"
#include "host/dump/plot_script.h"
#include "host/exit_code.h"
#include "tests/host/program.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

std::string fileOf(const std::string& package) {
    return ORVO_TEST_DATA_DIR "/dumps/" + package + "_vmrss.csv";
}

Dump golden(const std::string& package) {
    return readDump({fileOf(package), package, false});
}

std::string scriptOf(const std::vector<const DumpedLaunch*>& launches,
                     const std::string& package = "com.app") {
    Picture picture;
    picture.format = PictureFormat::kSvg;
    picture.package = package;
    picture.launches = launches;
    picture.metrics = metricsWithSamples(launches);
    return plotScript(picture);
}

TEST(PlotScript, LinesStandAtTheEndpointsAndTheBandAtTheTolerance) {
    const Dump dump = golden("python3");  // 24 memory, 270 ms; endpoints 6, 0, 9
    const std::string script = scriptOf({&dump.launch(1)});
    EXPECT_THAT(script, HasSubstr("title 'com.app, launch 1: settled at 270 ms'"));
    EXPECT_THAT(script, HasSubstr("set arrow from first 180,graph 0"));
    EXPECT_THAT(script, HasSubstr("'memory endpoint 180 ms'"));
    EXPECT_THAT(script, HasSubstr("'launch endpoint 270 ms (descriptors)'"));
    EXPECT_THAT(script, HasSubstr("0 26199.36 26728.64")) << "26464 kB, 1 %";
    EXPECT_THAT(script, HasSubstr("0 633.65 700.35")) << "667, 5 %";
    EXPECT_THAT(script, HasSubstr("667 ± 5 %, no endpoint"));
    EXPECT_THAT(script, HasSubstr("multiplot layout 3,1"));
}

TEST(PlotScript, ALongLaunchShowsEachEvaluation) {
    const Dump dump = golden("python3-game");
    const std::string script = scriptOf({&dump.launch(1)});
    EXPECT_THAT(script, HasSubstr("\n4980 52")) << "of the first, at its time";
    EXPECT_THAT(script, HasSubstr(" 4\nEOD\n")) << "the number of the last";
}

TEST(PlotScript, OnlyTheNewestLaunchesHaveALookOfTheirOwn) {
    const Dump dump = golden("java");
    std::vector<const DumpedLaunch*> launches(9, &dump.launch(1));
    launches.push_back(&dump.launch(2));
    const std::string script = scriptOf(launches);
    EXPECT_THAT(script, HasSubstr("title 'older launches'"));
    EXPECT_THAT(script, HasSubstr("title 'launch 2, settled at 1350 ms'"));
    EXPECT_THAT(script, HasSubstr("'median endpoint 2190 ms'"));
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

// What gnuplot, a shell or a page would take for a command.
constexpr const char* kHostileName =
    "we'ird \"q\" `touch pwned` %s @x {y}_^ $(touch pwned)\nsystem('touch pwned')<b>&\xff";

TEST(PlotScript, ANameIsNeverMoreThanText) {
    const Dump dump = golden("node");
    const std::string script = scriptOf({&dump.launch(1)}, kHostileName);
    EXPECT_THAT(script, HasSubstr("title 'we''ird \"q\" `touch pwned` %s @x {y}_^ $(touch"));
    EXPECT_THAT(script, Not(HasSubstr("\nsystem")));
}

class PlotVerb : public testing::Test {
protected:
    int plot(const Words& words, const Words& settings = {}) {
        Words all{ORVO_HOST, "plot"};
        all.insert(all.end(), words.begin(), words.end());
        Program program(all, settings);
        const int code = program.wait();
        mOut = program.out();
        mErr = program.err();
        return code;
    }

    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(mFolder / "."), fs::directory_iterator()));
    }

    // A gnuplot that writes half a picture and fails.
    std::string brokenGnuplot() const {
        fs::create_directory(mFolder / "bin");
        const std::string file = mFolder / "bin/gnuplot";
        std::ofstream(file) << "#!/bin/sh\necho half\necho 'line 3: broken' >&2\nexit 1\n";
        fs::permissions(file, fs::perms::owner_all);
        return "PATH=" + (mFolder / "bin");
    }

    const TempFolder mFolder;
    std::string mOut;
    std::string mErr;
};

TEST_F(PlotVerb, WritesEachKindOfPicture) {
    EXPECT_EQ(plot({fileOf("python3-game"), "-o", mFolder / "a.svg"}), 0) << mErr;
    EXPECT_THAT(contentOf(mFolder / "a.svg"),
                AllOf(StartsWith("<?xml"), HasSubstr("launch endpoint 7470 ms (memory)"),
                      HasSubstr("</svg>")));
    EXPECT_EQ(plot({fileOf("chromium"), "--all", "-o", mFolder / "a.png"}), 0) << mErr;
    EXPECT_THAT(contentOf(mFolder / "a.png"), StartsWith("\x89PNG"));
    EXPECT_EQ(plot({fileOf("java"), "--launch", "1", "--metric", "vmrss", "-o", mFolder / "a.txt"}),
              0)
        << mErr;
    EXPECT_THAT(contentOf(mFolder / "a.txt"),
                AllOf(HasSubstr("launch 1: settled at 2190 ms"), HasSubstr("***"),
                      Not(HasSubstr("OOM")), Not(HasSubstr("\f"))));
    EXPECT_EQ(mErr, "");
    struct stat status {};
    stat((mFolder / "a.txt").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0600U, 0600U);
    EXPECT_EQ(files(), 3U) << "something was left beside them";
}

TEST_F(PlotVerb, DrawsInCharactersWithoutAFile) {
    EXPECT_EQ(plot({fileOf("python3"), "--all"}), 0) << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr("4 launches, 4 settled"), HasSubstr("A   launch 1"),
                            HasSubstr("memory (kB) over ms since sampling began"),
                            HasSubstr("OOM score over"), HasSubstr("descriptors over")));
}

TEST_F(PlotVerb, AHostileFileNameRunsNothing) {
    std::string name = kHostileName;
    const std::string file = mFolder / (name + "_vmrss.csv");
    fs::copy_file(fileOf("node"), file);
    const std::string svg = mFolder / (name + ".svg");
    const fs::path before = fs::current_path();
    fs::current_path(mFolder / ".");
    const int code = plot({file, "-o", svg});
    fs::current_path(before);
    EXPECT_EQ(code, 0) << mErr;
    EXPECT_THAT(contentOf(svg), HasSubstr("we'ird \"q\" `touch pwned` %s @x {y}_^ $(touch"));
    EXPECT_EQ(files(), 2U);
}

TEST_F(PlotVerb, AFailureLeavesTheOldPictureAlone) {
    const std::string file = mFolder / "a.svg";
    std::ofstream(file) << "old";
    EXPECT_EQ(plot({fileOf("java"), "-o", file}, {brokenGnuplot()}), 3);
    EXPECT_THAT(mErr, AllOf(HasSubstr("gnuplot failed"), HasSubstr("line 3: broken")));
    EXPECT_EQ(contentOf(file), "old");
    EXPECT_EQ(files(), 2U) << "the picture and bin";

    EXPECT_EQ(plot({fileOf("java"), "-o", file}, {"PATH=/nowhere"}), 3);
    EXPECT_THAT(mErr, HasSubstr("gnuplot-nox"));
    fs::create_directory(mFolder / "d.svg");
    EXPECT_EQ(plot({fileOf("java"), "-o", mFolder / "d.svg"}), 3);
    mkfifo((mFolder / "fifo.svg").c_str(), 0600);
    EXPECT_EQ(plot({fileOf("java"), "-o", mFolder / "fifo.svg"}), 3);
    EXPECT_TRUE(fs::is_fifo(mFolder / "fifo.svg")) << "a picture took its place";
    EXPECT_EQ(plot({fileOf("java"), "-o", mFolder / "none/a.svg"}), 3);
    EXPECT_EQ(plot({fileOf("java"), "-o", mFolder / "a.pdf"}), 2);
    EXPECT_EQ(files(), 4U);
}

TEST_F(PlotVerb, AFullDiskLeavesNothing) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit tight{1000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight);
    EXPECT_THROW(writePicture(mFolder / "a.svg", std::string(5000, 'x')), HostError);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(files(), 0U);
}

TEST_F(PlotVerb, WritesThroughALinkAndOverAnOldPicture) {
    std::ofstream(mFolder / "old.svg") << "old";
    fs::create_symlink("old.svg", mFolder / "link.svg");
    EXPECT_EQ(plot({fileOf("java"), "-o", mFolder / "link.svg"}), 0) << mErr;
    EXPECT_TRUE(fs::is_symlink(mFolder / "link.svg"));
    EXPECT_THAT(contentOf(mFolder / "old.svg"), StartsWith("<?xml"));
}

TEST_F(PlotVerb, NothingToDrawIsSaid) {
    EXPECT_EQ(plot({fileOf("python3"), "--launch", "3"}), 1);
    EXPECT_THAT(mErr, HasSubstr("launch 3 has no samples"));
    EXPECT_EQ(plot({fileOf("node"), "--metric", "fd"}), 1) << "the last launch has none";
    EXPECT_EQ(plot({fileOf("node"), "--metric", "cpu"}), 2);
    EXPECT_EQ(plot({fileOf("node"), "--launch", "1", "--all"}), 2);
    EXPECT_EQ(mOut, "");
}

}  // namespace
}  // namespace host
