// Pictures: the room they have, and what becomes of the file.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/replaced_file.h"
#include "host/verbs/drawing.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/program.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Drawing, FitsIntoTheTerminalBesideItsPrompt) {
    const auto room = [](std::optional<TerminalSize> terminal) {
        const TerminalSize size = roomOn(terminal, {80, 24});
        return std::pair(size.columns, size.rows);
    };
    EXPECT_EQ(room({}), std::pair(80, 24));
    EXPECT_EQ(room(TerminalSize{0, 0}), std::pair(80, 24));
    EXPECT_EQ(room(TerminalSize{kFewestColumns, 50}), std::pair(kFewestColumns, 49));
    const TerminalSize narrow{kFewestColumns - 1, 50};
    EXPECT_THAT([&] { room(narrow); }, refuses(kEnvironment, HasSubstr("widen it")));
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
    EXPECT_THAT(mOut, AllOf(HasSubstr(": settled at 2190 ms"), HasSubstr("***"),
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
    EXPECT_THROW(replaceFile(mFolder / "a.svg", std::string(5000, 'x')), HostError);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(contentOf(mFolder / "a.svg"), "old");
    EXPECT_EQ(files(), 3U) << "the picture, gnuplot and the fifo";
}

TEST_F(PlotVerb, WhatIsNotDrawnIsSaid) {
    EXPECT_EQ(host({"plot", goldenFile("python3"), "--launch", "3"}), 1);
    EXPECT_THAT(mErr, HasSubstr("launch 3 has no samples"));
    EXPECT_EQ(host({"plot", goldenFile("node"), "--metric", "fd"}), 1) << "the last has none";
    for (int i = 0; i < 51; ++i)
        std::ofstream(mFolder / "many.csv", std::ios::app) << contentOf(goldenFile("java"));
    EXPECT_EQ(host({"plot", mFolder / "many.csv", "--all", "-o", mFolder / "a.svg"}), 0);
    EXPECT_THAT(mErr, HasSubstr("only the last 100 of the 102"));
}

}  // namespace
}  // namespace host
