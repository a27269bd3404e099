// The reader of dumps: blocks, launches, and what is not a dump. That whole dumps
// are read right is seen when they are replayed.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sys/stat.h>

#include "tests/framework/temp_folder.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Lt;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kAbortText = "\nAborted Before analysis 0\n";

// The launches in `text`, of which each read gives a few bytes only.
std::vector<DumpedLaunch> launchesOf(const std::string& text, std::size_t bytesAtOnce = 4096) {
    const auto read = [&, at = std::size_t{0}](char* buffer, std::size_t size) mutable {
        const std::size_t length = text.copy(buffer, std::min(size, bytesAtOnce), at);
        at += length;
        return length;
    };
    LaunchReader reader(read, "x.csv");
    std::vector<DumpedLaunch> launches;
    while (std::optional<DumpedLaunch> launch = reader.next())
        launches.push_back(std::move(*launch));
    return launches;
}

// A block as the library writes it: memory that grows by 4, and a steady score.
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
    const auto expectLaunches = [](const char* what, const std::string& text,
                                   const std::vector<std::size_t>& expected, DumpOutcome last) {
        std::vector<std::size_t> evaluations;
        for (const DumpedLaunch& launch : launchesOf(text))
            evaluations.push_back(launch.evaluations.size());
        EXPECT_EQ(evaluations, expected) << what;
        EXPECT_EQ(launchesOf(text).back().outcome, last) << what;
    };
    const std::string first = blockOf(167);
    const std::string cut = blockOf(400).substr(0, 900);
    expectLaunches("two", first + blockOf(334, "9") + first, {2, 1}, DumpOutcome::kUnfinished);
    expectLaunches("short", blockOf(34) + blockOf(100), {1, 1}, DumpOutcome::kUndecided);
    expectLaunches("other", first + blockOf(334, "", 104), {1, 1}, DumpOutcome::kUnfinished);
    expectLaunches("not longer", first + first, {1, 1}, DumpOutcome::kUnfinished);
    expectLaunches("stopped", first + kAbortText, {1}, DumpOutcome::kAborted);
    expectLaunches("cut off", first + cut, {1}, DumpOutcome::kCutOff);
    expectLaunches("over", blockOf(1837) + blockOf(2000), {2}, DumpOutcome::kUndecided);
}

TEST(DumpReader, TheErrorNamesTheLine) {
    const std::string good = blockOf(12, "3");
    const std::pair<std::string, std::string> cases[] = {
        {"hello\n", "x.csv:1: "},
        {good + "\nhello\n", "x.csv:24: "},
        {std::string("\0\1\xff", 3), "x.csv:1: "},
        {replaced(good, "0, 7, 104, ", "0, 7, 1O4, "), "x.csv:5: "},
        {replaced(good, "0, 0, 0, \n", "0, 0, 0, 1\n"), "x.csv:4: "},
        {replaced(good, "104, ", "0, "), "x.csv:5: "},
        {replaced(good, "104, 0.000488", "104, 488"), "x.csv:5: "},
        {replaced(good, "mVmRssEp", "mVmRssep"), "x.csv:16: "},
        {replaced(good, "3, 0, 0\n", "3, 0\n"), "x.csv:17: "},
        {replaced(good, "3, 0, 0\n", "-3, 0, 0\n"), "x.csv:17: "},
        {replaced(good, "3, 0, 0\n", "2000, 0, 0\n"), "x.csv:17: "},
        {replaced(good, "Final : 3", "Final : 0"), "x.csv:22: "},
        {"\nAborted Before analysis x\n\n\n", "x.csv:2: "},
        {blockOf(2001), "x.csv:2004: "},
        {blockOf(34) + std::string(5000, 'x'), "x.csv:43: longer than any line"},
        {blockOf(34) + std::string(1 << 20, '\0'), "x.csv:43: longer than any line"},
    };
    for (const auto& [text, where] : cases) {
        const auto isShortAndNamesIt = AllOf(StartsWith(where), SizeIs(Lt(150U)));
        EXPECT_THAT([text = text] { launchesOf(text); }, refuses(kUsage, isShortAndNamesIt));
    }
}

TEST(DumpReader, WindowsLineEndsAreReadAndBytesThatComeOneByOne) {
    const std::string text = std::regex_replace(blockOf(12, "3"), std::regex("\n"), "\r\n");
    EXPECT_EQ(launchesOf(text, 1).at(0).finalIndex(), 3);
}

// Where a launch's text starts: a file that is cut there loses none behind it.
TEST(DumpReader, OffsetsAreThoseAtWhichTheTextMayBeCut) {
    const std::string first = blockOf(14, "3") + blockOf(14).substr(0, 300);
    const std::string parts[] = {first, kAbortText, blockOf(167) + blockOf(334), kAbortText,
                                 blockOf(12, "5")};
    const std::string text = parts[0] + parts[1] + parts[2] + parts[3] + parts[4];
    const std::vector<DumpedLaunch> launches = launchesOf(text, 100);
    ASSERT_THAT(launches, SizeIs(5));
    EXPECT_EQ(launches[2].offset, static_cast<std::int64_t>(first.size()));
    EXPECT_EQ(text.substr(static_cast<std::size_t>(launches[3].offset)),
              parts[2] + parts[3] + parts[4]);
    EXPECT_EQ(text.substr(static_cast<std::size_t>(launches[4].offset)), parts[4]);
}

TEST(DumpFile, UnusableFilesGiveTheirCode) {
    const TempFolder folder;
    const StateFolder state(folder / "state");
    const auto reading = [&](const std::string& argument) {
        return [&state, argument] { DumpFile(dumpSourceOf(argument, state)).next(); };
    };
    std::ofstream(folder / "empty.csv").flush();
    mkfifo((folder / "pipe.csv").c_str(), 0600);
    std::filesystem::create_directories(state.dumps());
    std::filesystem::create_symlink(goldenFile("java"), state.dumps() + "/com.link_vmrss.csv");
    std::filesystem::create_symlink(goldenFile("java"), folder / "link.csv");
    EXPECT_THAT(reading(folder / "empty.csv"), refuses(kUsage, HasSubstr("empty.csv:1: ")));
    EXPECT_THAT(reading(folder / "pipe.csv"), refuses(kEnvironment, HasSubstr("not a file")));
    EXPECT_THAT(reading("com.link"), refuses(kEnvironment, HasSubstr("symbolic link")));
    EXPECT_NO_THROW(reading(folder / "link.csv")());
    EXPECT_THAT(reading(folder / "missing.csv"), refuses(kEnvironment, HasSubstr("No such file")));
    EXPECT_THAT(reading("com.unknown"), refuses(kNotLearned, HasSubstr("--dump")));
}

TEST(DumpFile, PackageAndFileAreToldApart) {
    const StateFolder state("/state");
    EXPECT_EQ(dumpSourceOf("com.a", state).file, "/state/dumps/com.a_vmrss.csv");
    EXPECT_EQ(dumpSourceOf("dir/com.a_vmrss.csv", state).package, "com.a");
    // The library cuts the path on the device at 127 bytes.
    const std::string cut = "/state/dumps/" + std::string(111, 'p');
    EXPECT_EQ(dumpSourceOf(std::string(200, 'p'), state).file, cut);
}

}  // namespace
}  // namespace host
