// The reader of dumps: blocks, launches, and what is no dump.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/dump/dump_file.h"
#include "host/dump/dump_parser.h"
#include "host/dump/launch_grouping.h"
#include "host/exit_code.h"
#include "tests/host/dump_text.h"
#include "tests/host/program.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<DumpedLaunch> launchesOf(const std::string& text) {
    return groupLaunches(parseDumpBlocks(text, "x.csv"));
}

std::string blockOf(std::size_t samples, const std::string& final = "", int start = 100) {
    BlockText block;
    block.vmRss = rising(start, samples);
    block.oomScore = std::vector<int>(samples, 7);
    block.endpoints = "3, 0, 0";
    block.settled = "112, 7, 0";
    block.final = final;
    return block.str();
}

TEST(DumpReader, EveryCellAndResultLandsInItsPlace) {
    BlockText block;
    block.vmRss = rising(500, 20);
    block.oomScore = {9, 8, 7};
    block.fdCount = {5, 6};
    block.top = {580, 540, 580};
    block.endpoints = "15, 2, 1";
    block.settled = "580, 7, -6";
    block.final = "15";
    const std::vector<DumpedLaunch> launches = launchesOf(kAbortText + block.str());

    ASSERT_EQ(launches.size(), 2U);
    EXPECT_EQ(launches[0].line, 2);
    EXPECT_EQ(launches[0].outcome, DumpOutcome::kAborted);
    const DumpedLaunch& launch = launches[1];
    EXPECT_EQ(launch.number, 2);
    EXPECT_EQ(launch.line, 5);
    EXPECT_EQ(launch.outcome, DumpOutcome::kDecided);
    EXPECT_EQ(launch.finalIndex(), 15);
    EXPECT_EQ(launch.series[Metric::kVmRss], block.vmRss);
    EXPECT_EQ(launch.series[Metric::kOomScore], block.oomScore);
    EXPECT_EQ(launch.series[Metric::kFdCount], block.fdCount);
    ASSERT_EQ(launch.evaluations.size(), 1U);
    const PerMetric<MetricResult>& metrics = launch.evaluations[0].metrics;
    EXPECT_THAT(metrics[Metric::kVmRss].topValues, ElementsAre(580, 540, 580));
    EXPECT_EQ(metrics[Metric::kVmRss].endpointIndex, 15);
    EXPECT_EQ(metrics[Metric::kOomScore].endpointIndex, 2);
    EXPECT_EQ(metrics[Metric::kFdCount].endpointIndex, 1);
    EXPECT_EQ(metrics[Metric::kOomScore].settledValue, 7);
    EXPECT_EQ(metrics[Metric::kFdCount].settledValue, -6);
}

// Their weights tell how many descriptor counts there are; any other 0 at the
// end of a column is fill.
TEST(DumpReader, DescriptorCountsOfZeroAreNoFill) {
    BlockText block;
    block.vmRss = {4};
    block.fdCount = {0, 3, 0, 0};
    const DumpedLaunch launch = launchesOf(block.str()).at(0);
    EXPECT_THAT(launch.series[Metric::kFdCount], ElementsAre(0, 3, 0, 0));
    EXPECT_THAT(launch.series[Metric::kVmRss], ElementsAre(4));
    EXPECT_THAT(launch.series[Metric::kOomScore], IsEmpty());
}

// The library may be killed at any byte, and later goes on behind it.
TEST(DumpReader, ACutAtAnyByteSpoilsNoOtherLaunch) {
    const std::string first = blockOf(14, "3", 100);
    const std::string middle = blockOf(13, "5", 7000);
    const std::string last = blockOf(15, "9", 300);
    for (std::size_t cut = 0; cut <= middle.size(); ++cut) {
        SCOPED_TRACE("cut at " + std::to_string(cut));
        const std::string kept = first + middle.substr(0, cut);
        const std::vector<DumpedLaunch> before = launchesOf(kept);
        ASSERT_EQ(before.front().finalIndex(), 3);
        for (const std::string& next : {last, kAbortText + last}) {
            const std::vector<DumpedLaunch> launches = launchesOf(kept + next);
            ASSERT_EQ(launches.front().finalIndex(), 3);
            ASSERT_EQ(launches.back().finalIndex(), 9);
            ASSERT_EQ(launches.back().series[Metric::kVmRss], rising(300, 15));
            const std::size_t extra = next == last ? 1 : 2;
            ASSERT_EQ(launches.size(), before.size() + extra);
            // Half a number must never pass for a whole one.
            if (before.size() == 2) {
                ASSERT_EQ(launches[1].finalIndex(), before[1].finalIndex());
                ASSERT_TRUE(!launches[1].finalIndex() || launches[1].finalIndex() == 5);
            }
        }
    }
    EXPECT_EQ(launchesOf(first + middle.substr(0, middle.size() - 1)).back().outcome,
              DumpOutcome::kCutOff);
    EXPECT_EQ(launchesOf(first + "\nAborted Before ana").back().outcome, DumpOutcome::kAborted);
}

TEST(DumpReader, EvaluationsOfALongLaunchAreOneLaunch) {
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::size_t> evaluations;
        DumpOutcome lastOutcome;
    };
    const std::string cut = blockOf(400).substr(0, 900);
    const Case cases[] = {
        {"grows", blockOf(167) + blockOf(334) + blockOf(501, "9"), {3}, DumpOutcome::kDecided},
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
        {"cut off", blockOf(167) + cut, {1}, DumpOutcome::kCutOff},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        const std::vector<DumpedLaunch> launches = launchesOf(one.text);
        std::vector<std::size_t> evaluations;
        for (const DumpedLaunch& launch : launches)
            evaluations.push_back(launch.evaluations.size());
        EXPECT_EQ(evaluations, one.evaluations);
        EXPECT_EQ(launches.back().outcome, one.lastOutcome);
    }
    const DumpedLaunch whole = launchesOf(blockOf(167) + blockOf(334)).at(0);
    EXPECT_EQ(whole.evaluations[0].samples(), 167U);
    EXPECT_EQ(whole.series[Metric::kVmRss], rising(100, 334));
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

TEST(DumpReader, TheErrorNamesTheLine) {
    const std::string good = blockOf(12, "3");
    BlockText zero;
    zero.vmRss = {5, 0, 6};
    const struct {
        std::string text;
        std::string where;
    } cases[] = {
        {"hello\n", "x.csv:1: "},
        {good + "\nhello\n", "x.csv:24: "},
        {std::string("\0\1\xff", 3), "x.csv:1: "},
        {replaced(good, "0, 7, 104, ", "0, 7, 1O4, "), "x.csv:5: "},
        {replaced(good, "0, 7, 104, ", "0, 7, "), "x.csv:5: "},
        {replaced(good, "104, ", "2147483648, "), "x.csv:5: "},
        {replaced(good, "104, 0.000488", "104, 488"), "x.csv:5: "},
        {zero.str(), "x.csv:5: "},
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
    std::string text;
    for (const char c : blockOf(12, "3"))
        text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    EXPECT_EQ(launchesOf(text).at(0).finalIndex(), 3);
}

class DumpFileTest : public testing::Test {
protected:
    ExitCode codeOf(const DumpSource& source) {
        try {
            readDump(source);
            return kDone;
        } catch (const HostError& error) {
            mError = error.what();
            return error.code();
        }
    }

    DumpSource file(const std::string& name, const std::string& content) const {
        std::ofstream(mFolder / name) << content;
        return dumpSourceOf(mFolder / name, mState);
    }

    const TempFolder mFolder;
    const StateFolder mState{mFolder / "state"};
    std::string mError;
};

TEST_F(DumpFileTest, UnusableFilesGiveTheirCode) {
    EXPECT_EQ(codeOf(file("empty.csv", "")), kUsage);
    EXPECT_EQ(codeOf(file("blank.csv", "\n\n\n")), kUsage);
    EXPECT_EQ(codeOf(dumpSourceOf(mFolder / "missing.csv", mState)), kEnvironment);
    EXPECT_EQ(codeOf(dumpSourceOf(mFolder / ".", mState)), kEnvironment);
    EXPECT_EQ(codeOf(dumpSourceOf("com.unknown", mState)), kNotLearned);
    EXPECT_THAT(mError, HasSubstr("--dump"));
    const DumpSource huge = file("huge\n.csv", "");
    std::filesystem::resize_file(huge.file, (std::uintmax_t{64} << 20U) + 1);
    EXPECT_EQ(codeOf(huge), kUsage);
    EXPECT_THAT(mError, HasSubstr("larger than 64 MiB"));
    EXPECT_THAT(mError, testing::Not(HasSubstr("\n"))) << "an error is one line";
}

TEST_F(DumpFileTest, PackageAndFileAreToldApart) {
    EXPECT_EQ(dumpSourceOf("com.a", mState).file, mState.dumps() + "/com.a_vmrss.csv");
    EXPECT_TRUE(dumpSourceOf("com.a", mState).isOfState);
    EXPECT_EQ(dumpSourceOf("dir/com.a_vmrss.csv", mState).package, "com.a");
    EXPECT_EQ(dumpSourceOf("b.csv", mState).package, "b");
    EXPECT_FALSE(dumpSourceOf("b.csv", mState).isOfState);
    // The library cuts the path on the device at 127 bytes.
    EXPECT_EQ(dumpSourceOf(std::string(200, 'p'), mState).file,
              mState.dumps() + '/' + std::string(111, 'p'));
    const Dump dump = readDump(file("one.csv", blockOf(12)));
    EXPECT_THROW(dump.launch(2), HostError);
    EXPECT_EQ(dump.launch(1).number, 1);
}

}  // namespace
}  // namespace host
