// What the host prints, the texts and the task list it keeps, the names it takes.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/base/suggestion.h"
#include "host/learn/progress.h"
#include "host/process/package_name.h"
#include "host/process/process_tree.h"
#include "host/process/task_list.h"
#include "host/root/device_root_mounts.h"
#include "host/state/state_folder.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

TEST(PrintableTest, HostileTextBecomesOneValidLine) {
    EXPECT_EQ(printable("a\nb\x1b[1m\x7f"), "a?b?[1m?");
    EXPECT_EQ(printable("\xc3\xbc \xf0\x9f\x9a\x80"), "\xc3\xbc \xf0\x9f\x9a\x80");
    const std::string three(3, '?');
    EXPECT_EQ(printable("\xc3(\xe2\x80\xae|\xed\xa0\x80)\xff\xc0\xaf"),
              "?(" + three + "|" + three + ")" + three);
    for (const char* unseen : {u8"\u061c", u8"\u200f", u8"\u2066", u8"\ufeff", u8"\U000e0041"})
        EXPECT_EQ(printable(unseen), std::string(std::strlen(unseen), '?'));
    EXPECT_EQ(printable("ab\xc3\xbc", 3), "ab...") << "no character is cut in two";
}

TEST(JsonLineTest, WhatATerminalMightObeyIsEscapedAndReadsTheSame) {
    const std::string name = "a\x1b[2J\x07\x7f\xc2\x9b\xe2\x80\xae";
    const std::string line = jsonLine(name);
    EXPECT_EQ(printable(line.substr(0, line.size() - 1)) + '\n', line);
    EXPECT_EQ(line.find('\x7f'), std::string::npos);
    EXPECT_EQ(Json::parse(line), name);
}

TEST(SuggestionTest, MisspelledWordFindsTheOneMeantAndAForeignOneNone) {
    const std::vector<std::string> words{"learn", "erase", "show", "--launches", "--log-level"};
    const char* const cases[][2] = {
        {"lern", "learn"}, {"laern", "learn"}, {"--lanuches", "--launches"},
        {"shows", "show"}, {"easre", "erase"}, {"-log-levl", "--log-level"},
        {"replay", ""},    {"sh", ""},         {"", ""},
    };
    for (const auto& [typed, meant] : cases)
        EXPECT_EQ(closestTo(typed, words), meant) << typed;
}

TEST(ProgressTest, BarStaysInItsBoundsWhenALaunchTakesLonger) {
    LaunchRecord record;
    record.take({3, "TAVO-ORVO-LEARNER", "statsCollector", "Decided Samples = 34. Starting"});
    EXPECT_EQ(barText("t", record, 9000), "t [########################] sampling 9.0 s");
}

TEST(StateFolderTest, OnePropertyGoesAndTheOthersStay) {
    const char* const cases[][2] = {
        {"# c\nx=1", "# c\nx=1"},
        {" a.b = false\nx=1\na.b=true", "x=1\n"},
        {"a.b=true\na.bc=1\n", "a.bc=1\n"},
        {"a.b\n\n", "a.b\n\n"},
    };
    for (const auto& [before, after] : cases)
        EXPECT_EQ(withoutProperty(before, "a.b"), after) << before;
}

TEST(PackageNameTest, NamesThatTheLogOrTheOutputCannotCarryAreRefused) {
    const std::string longest(255, 'a');
    for (const std::string& good : {std::string("/usr/b in/'\"`%\xc3\xa4"), longest})
        EXPECT_EQ(packageNameFault(good), "") << good;
    for (const std::string& bad : {std::string(), std::string("a\nb"), longest + 'a'})
        EXPECT_NE(packageNameFault(bad), "") << bad;
}

TEST(PackageNameTest, PathsProgramsAndSecondaryProcessesAreNoPackages) {
    for (const char* good : {"com.example.app", "a.b", "com.Example_2.a1"})
        EXPECT_TRUE(looksLikePackage(good)) << good;
    const std::string tooLong = "a." + std::string(300, 'b');
    for (const char* bad : {"", "bash", "python3.11", "/a.b", "com.a:s", "com.a ", ".com", "com.",
                            "a..b", "<pre.initialized>", tooLong.c_str()})
        EXPECT_FALSE(looksLikePackage(bad)) << bad;
}

TEST(ProcessStatTest, ParentIsFoundBehindAHostileName) {
    const auto stat = parseProcessStat("12 (a) R 7 (b) S 34 12 12 0");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->parent, 34);
    for (const char* bad : {"", "12 (a", "12 (a) ", "12 (a) S ", "12 (a) S x"})
        EXPECT_FALSE(parseProcessStat(bad)) << bad;
}

TEST(TaskListTest, ListIsReadUpToTheFirstThingThatIsNoNumber) {
    EXPECT_THAT(parseTaskList("12\n7 \n\n3\n99999999999999999999\n8"), ElementsAre(12, 7, 3));
}

TEST(TaskListTest, EndedTasksGoOthersKeepTheirPlaceAndNewOnesComeLast) {
    const auto isEven = [](pid_t task) { return task % 2 == 0; };
    EXPECT_THAT(mergeTasks({4, 3, 2, 4}, {2, 7, 8}, isEven), ElementsAre(4, 2, 7, 8));
}

// A reader may hold the file open and read in between: no piece of a number of
// the old list may show. A file that cannot be cut stays as it is in between.
TEST(TaskListTest, FileShowsTheNewListWithoutPiecesOfTheOld) {
    const std::string gone = "4194304\n";  // above every pid that Linux gives
    const std::string own = std::to_string(getpid()) + '\n';
    const UniqueFd file(memfd_create("tasks", MFD_ALLOW_SEALING));
    const std::string path = "/proc/self/fd/" + std::to_string(file.get());
    std::ofstream(path) << gone << own << gone;
    TaskListKeeper keeper(path);
    ASSERT_EQ(fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
    EXPECT_THAT([&] { keeper.keep({1}); }, refuses(kEnvironment, HasSubstr("rewrite")));
    EXPECT_EQ(contentOf(path), own + "1\n" + std::string(2 * gone.size() - 2, '\n'));

    const TempFolder folder;
    std::ofstream(folder / "tasks") << gone << own << gone;
    TaskListKeeper(folder / "tasks").keep({1});
    EXPECT_EQ(contentOf(folder / "tasks"), own + "1\n");
}

TEST(MirrorTest, FolderWhoseNameAPathOnlyBeginsWithIsBoundWhole) {
    std::string text;
    for (const std::string& word : mirrorArguments({{"/dev/procs", {"--dir", "/dev/procs"}},
                                                    {"/processes/x", {"--dir", "/processes/x"}}}))
        text += word + ' ';
    EXPECT_THAT(text, HasSubstr("--dev-bind-try /proc /proc "));
    EXPECT_THAT(text, HasSubstr("--dir /dev "));
    EXPECT_THAT(text, HasSubstr("--dev-bind-try /dev/null /dev/null "));
    EXPECT_THAT(text, EndsWith("--dir /dev/procs --dir /processes/x "));
}

}  // namespace
}  // namespace host
