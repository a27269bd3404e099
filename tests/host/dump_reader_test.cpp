// The reader of dumps: blocks, launches, and what is no dump. That whole dumps
// are read right is seen when they are replayed.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/dump/dump_file.h"
#include "host/dump/dump_parser.h"
#include "host/dump/launch_grouping.h"
#include "host/exit_code.h"
#include "tests/framework/temp_folder.h"

namespace host {
namespace {

using testing::HasSubstr;

constexpr const char* kAbortText = "\nAborted Before analysis 0\n";

std::vector<DumpedLaunch> launchesOf(const std::string& text) {
    return groupLaunches(parseDumpBlocks(text, "x.csv"));
}

/// A block as the library writes it: memory that grows by 4, and a steady score.
std::string blockOf(std::size_t samples, const std::string& final = "", std::size_t start = 100) {
    std::string text =
        "\n\n FD, OOM, VMRSS,VmRssAge,OOMScroeAge,FDCountAge,mAgeTable,mVmRssTop12,"
        "mOOMScroeTop12,mFDCountTop12";
    for (std::size_t i = 0; i < std::max<std::size_t>(samples, 12); ++i) {
        text += i < samples ? "\n0, 7, " + std::to_string(start + 4 * i) + ", 0.000488, 0.000488, "
                            : "\n0, 0, 0, 0, 0, ";
        text += "0, 0.000488, 0, 0, 0, ";
    }
    text +=
        "\nmVmRssEp, mOOMScroeEp, mFDCountEp\n3, 0, 0\n\n"
        "mVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest\n112, 7, 0\n";
    return final.empty() ? text : text + "\nFinal : " + final + "\n";
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

// Their weights tell how many descriptor counts there are; any other 0 at the
// end of a column is fill.
TEST(DumpReader, DescriptorCountsOfZeroAreNoFill) {
    const std::string text = replaced(blockOf(3), "0.000488, 0, ", "0.000488, 0.000488, ");
    const DumpedLaunch launch = launchesOf(text).at(0);
    EXPECT_EQ(launch.series[Metric::kFdCount], Series{0});
    EXPECT_EQ(launch.series[Metric::kVmRss], (Series{100, 104, 108}));
}

// The library may be killed at any byte, and later goes on behind it.
TEST(DumpReader, ACutAtAnyByteSpoilsNoOtherLaunch) {
    const std::string first = blockOf(14, "3");
    const std::string middle = blockOf(13, "5", 7000);
    const std::string last = blockOf(15, "9", 300);
    const Series lastSeries = launchesOf(last).at(0).series[Metric::kVmRss];
    for (std::size_t cut = 0; cut <= middle.size(); ++cut) {
        SCOPED_TRACE("cut at " + std::to_string(cut));
        const std::string kept = first + middle.substr(0, cut);
        const std::vector<DumpedLaunch> before = launchesOf(kept);
        for (const std::string& next : {last, kAbortText + last}) {
            const std::vector<DumpedLaunch> launches = launchesOf(kept + next);
            ASSERT_EQ(launches.size(), before.size() + (next == last ? 1 : 2));
            ASSERT_EQ(launches.front().finalIndex(), 3);
            ASSERT_EQ(launches.back().finalIndex(), 9);
            ASSERT_EQ(launches.back().series[Metric::kVmRss], lastSeries);
            // Half a number must never pass for a whole one.
            if (before.size() < 2) continue;
            ASSERT_EQ(launches[1].finalIndex(), before[1].finalIndex());
            ASSERT_EQ(launches[1].finalIndex().value_or(5), 5);
        }
    }
    EXPECT_EQ(launchesOf(first + middle.substr(0, middle.size() - 1)).back().outcome,
              DumpOutcome::kCutOff);
    EXPECT_EQ(launchesOf(first + "\nAborted Before ana").back().outcome, DumpOutcome::kAborted);
}

TEST(DumpReader, EvaluationsOfALongLaunchAreOneLaunch) {
    const struct {
        const char* what;
        std::string text;
        std::vector<std::size_t> evaluations;
        DumpOutcome lastOutcome;
    } cases[] = {
        {"two of them",
         blockOf(167) + blockOf(334, "9") + blockOf(167) + blockOf(334),
         {2, 2},
         DumpOutcome::kUnfinished},
        {"short ones alike",
         blockOf(34) + blockOf(100) + blockOf(100, "3"),
         {1, 1, 1},
         DumpOutcome::kDecided},
        {"other series", blockOf(167) + blockOf(334, "", 104), {1, 1}, DumpOutcome::kUnfinished},
        {"not longer", blockOf(167) + blockOf(167), {1, 1}, DumpOutcome::kUnfinished},
        {"stopped", blockOf(167) + kAbortText, {1}, DumpOutcome::kAborted},
        {"stopped after a short one", blockOf(34) + kAbortText, {1, 0}, DumpOutcome::kAborted},
        {"all samples taken", blockOf(1837) + blockOf(2000), {2}, DumpOutcome::kUndecided},
        {"over, then stopped", blockOf(2000) + kAbortText, {1, 0}, DumpOutcome::kAborted},
        {"cut off", blockOf(167) + blockOf(400).substr(0, 900), {1}, DumpOutcome::kCutOff},
    };
    for (const auto& [what, text, expected, lastOutcome] : cases) {
        const std::vector<DumpedLaunch> launches = launchesOf(text);
        std::vector<std::size_t> evaluations;
        for (const DumpedLaunch& launch : launches)
            evaluations.push_back(launch.evaluations.size());
        EXPECT_EQ(evaluations, expected) << what;
        EXPECT_EQ(launches.back().outcome, lastOutcome) << what;
    }
}

TEST(DumpReader, TheErrorNamesTheLine) {
    const std::string good = blockOf(12, "3");
    const std::pair<std::string, std::string> cases[] = {
        {"hello\n", "x.csv:1: "},
        {good + "\nhello\n", "x.csv:24: "},
        {std::string("\0\1\xff", 3), "x.csv:1: "},
        {replaced(good, "0, 7, 104, ", "0, 7, 1O4, "), "x.csv:5: "},
        {replaced(good, "0, 7, 104, ", "0, 7, "), "x.csv:5: "},
        {replaced(good, "0, 0, 0, \n", "0, 0, 0, 1\n"), "x.csv:4: "},
        {replaced(good, "104, ", "0, "), "x.csv:5: "},
        {replaced(good, "104, ", "2147483648, "), "x.csv:5: "},
        {replaced(good, "104, 0.000488", "104, 488"), "x.csv:5: "},
        {replaced(good, "mVmRssEp", "mVmRssep"), "x.csv:16: "},
        {replaced(good, "3, 0, 0\n", "3, 0\n"), "x.csv:17: "},
        {replaced(good, "3, 0, 0\n", "-3, 0, 0\n"), "x.csv:17: "},
        {replaced(good, "3, 0, 0\n", "2000, 0, 0\n"), "x.csv:17: "},
        {replaced(good, "112, 7, 0\n", "112, 7, 0, 1\n"), "x.csv:20: "},
        {replaced(good, "Final : 3", "Final : 0"), "x.csv:22: "},
        {replaced(good, "Final : 3", "Final : 3x"), "x.csv:22: "},
        {good + "Final : 3\n", "x.csv:23: "},
        {"\nAborted Before analysis x\n\n\n", "x.csv:2: "},
        {blockOf(2001), "x.csv:2004: "},
        {blockOf(34) + std::string(5000, 'x'), "x.csv:"},
    };
    for (const auto& [text, where] : cases) {
        try {
            launchesOf(text);
            ADD_FAILURE() << "taken, not refused at " << where;
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), kUsage);
            EXPECT_THAT(error.what(), testing::StartsWith(where)) << text.substr(0, 300);
            EXPECT_LT(std::string(error.what()).size(), 150U);
        }
    }
}

TEST(DumpReader, WindowsLineEndsAreRead) {
    std::string text = blockOf(12, "3");
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.insert(at, 1, '\r');
    EXPECT_EQ(launchesOf(text).at(0).finalIndex(), 3);
}

class DumpFileTest : public testing::Test {
protected:
    void expectRefused(const std::string& argument, ExitCode code, const std::string& why = "") {
        try {
            readDump(dumpSourceOf(argument, mState));
            ADD_FAILURE() << argument;
        } catch (const HostError& error) {
            EXPECT_EQ(error.code(), code) << argument;
            EXPECT_THAT(error.what(), HasSubstr(why));
            EXPECT_THAT(error.what(), testing::Not(HasSubstr("\n"))) << "an error is one line";
        }
    }

    const TempFolder mFolder;
    const StateFolder mState{mFolder / "state"};
};

TEST_F(DumpFileTest, UnusableFilesGiveTheirCode) {
    std::ofstream(mFolder / "empty.csv").flush();
    std::ofstream(mFolder / "huge\n.csv").flush();
    std::filesystem::resize_file(mFolder / "huge\n.csv", (std::uintmax_t{64} << 20U) + 1);
    expectRefused(mFolder / "empty.csv", kUsage, "empty.csv:1: ");
    expectRefused(mFolder / "huge\n.csv", kUsage, "larger than 64 MiB");
    expectRefused(mFolder / "missing.csv", kEnvironment);
    expectRefused(mFolder / ".", kEnvironment);
    expectRefused("com.unknown", kNotLearned, "--dump");
}

TEST_F(DumpFileTest, PackageAndFileAreToldApart) {
    EXPECT_EQ(dumpSourceOf("com.a", mState).file, mState.dumps() + "/com.a_vmrss.csv");
    EXPECT_EQ(dumpSourceOf("dir/com.a_vmrss.csv", mState).package, "com.a");
    EXPECT_EQ(dumpSourceOf("b.csv", mState).package, "b");
    // The library cuts the path on the device at 127 bytes.
    EXPECT_EQ(dumpSourceOf(std::string(200, 'p'), mState).file,
              mState.dumps() + '/' + std::string(111, 'p'));
}

}  // namespace
}  // namespace host
