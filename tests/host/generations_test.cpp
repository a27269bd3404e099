// Which generation of a package counts, and what becomes of the dumps of the others.
#include "host/state/generations.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/exit_code.h"
#include "host/dump/dump_file.h"
#include "host/dump/ended_dumps.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::HasSubstr;

LaunchEntry lineOf(std::optional<std::int32_t> generation, const char* outcome = "stored") {
    LaunchEntry entry;
    entry.package = "com.a";
    entry.outcome = outcome;
    entry.generation = generation;
    return entry;
}

HistoryContents historyOf(const std::vector<LaunchEntry>& entries) {
    const TempFolder folder;
    const History history(folder / "history.jsonl");
    for (const LaunchEntry& entry : entries)
        history.note(entry);
    return history.read();
}

TEST(Generations, OneIsChosenByItsNumberOrAsTheNewestOfItsLabel) {
    Generations known;
    EXPECT_EQ(known.newestOf("com.a").number, 1);
    known.put("com.a", {2, "old"});
    known.put("com.a", {3, "new"});
    known.put("com.a", {4, "old"});
    EXPECT_EQ(known.chosenOf("com.a", "old").number, 4);
    EXPECT_EQ(known.chosenOf("com.a", "2").label, "old");
    EXPECT_EQ(known.chosenOf("com.a", "1").label, std::nullopt) << "was there before it";
    EXPECT_THAT([&] { known.chosenOf("com.a", "other"); },
                refuses(kUsage, HasSubstr("there are 1, 2 (old), 3 (new), 4 (old)")));
    for (int number = 5; number <= 12; ++number)
        known.put("com.a", {number});
    EXPECT_EQ(known.of("com.a").front().number, 3) << "ten are kept";
}

// A kill may have come before or after anything was erased.
TEST(Generations, OneThatIsStillErasingDoesNotCountYet) {
    Generations known = Generations::parse(
        R"({"schema_version":1,"package":"com.a","generation":2,"label":"v2","erasing":true})");
    known.add(historyOf({lineOf(1), lineOf(2, kErasedOutcome)}));
    EXPECT_EQ(known.newestOf("com.a").number, 1);
    ASSERT_TRUE(known.unfinishedOf("com.a"));
    EXPECT_EQ(known.unfinishedOf("com.a")->label, "v2");
    known.put("com.a", {2, "v2"});
    EXPECT_FALSE(known.unfinishedOf("com.a"));
    EXPECT_EQ(Generations::parse(known.toText()).newestOf("com.a").label, "v2");
}

TEST(Generations, TextsThatAreNoLabelAreRefused) {
    for (const std::string& text :
         {std::string(), std::string("12"), std::string(" v"), std::string("v "),
          std::string(65, 'v'), std::string("v\n"), std::string("v\x1b[2J"),
          std::string("v\xe2\x80\xae"), std::string("\xff")})
        EXPECT_NE(labelFault(text), "") << text;
    for (const std::string& text :
         {std::string("v 1.2"), std::string("\xc3\xa4"), std::string(64, 'v')})
        EXPECT_EQ(labelFault(text), "") << text;
}

TEST(GenerationsFile, NumbersOfOlderVersionsAreKeptWhenTheHistoryForgetsThem) {
    const TempFolder folder;
    const GenerationsFile file(folder / "generations.jsonl");
    const HistoryContents erasedTwice =
        historyOf({lineOf({}), lineOf({}, kErasedOutcome), lineOf({}, kErasedOutcome)});
    file.adopt(erasedTwice);
    EXPECT_EQ(file.read().newestOf("com.a").number, 3);
    std::ofstream(folder / "generations.jsonl.new") << "left by a kill";
    file.put("com.a", {4, "v4"});
    file.adopt(erasedTwice);
    file.adopt({});
    EXPECT_EQ(file.read().newestOf("com.a").label, "v4");
    std::ofstream(folder / "generations.jsonl", std::ios::app) << "{}\n";
    EXPECT_THAT([&] { file.read(); }, refuses(kEnvironment, HasSubstr("move the file away")));
}

TEST(EndedDumps, TakeTheNumberOfTheirGenerationAndTheLastTenStay) {
    const TempFolder folder;
    const std::string cut(111, 'p');
    for (const std::string& name :
         {std::string("com.a_vmrss.csv"), std::string("com.a_launches.jsonl"),
          std::string("com.a_probe.jsonl"), cut})
        std::ofstream(folder / name) << name;
    std::ofstream(folder / "com.a_vmrss.2.csv") << "too old";
    std::ofstream(folder / "com.a_vmrss.3.csv") << "kept";
    endDump(folder / "", "com.a", 11);
    endDump(folder / "", "com.a", 11);  // as after a kill
    endDump(folder / "", std::string(200, 'p'), 1);
    endDump(folder / "", "../com.a", 1);
    EXPECT_EQ(contentOf(folder / "com.a_vmrss.11.csv"), "com.a_vmrss.csv");
    EXPECT_EQ(contentOf(folder / "com.a_launches.11.jsonl"), "com.a_launches.jsonl");
    EXPECT_TRUE(std::filesystem::exists(folder / "com.a_probe.11.jsonl"));
    EXPECT_EQ(contentOf(folder / (cut + ".1")), cut);
    EXPECT_FALSE(std::filesystem::exists(folder / "com.a_vmrss.csv"));
    EXPECT_FALSE(std::filesystem::exists(folder / "com.a_vmrss.2.csv"));
    EXPECT_TRUE(std::filesystem::exists(folder / "com.a_vmrss.3.csv"));
}

TEST(EndedDumps, PackagesDumpIsThatOfTheGenerationAskedFor) {
    const StateFolder state("/state");
    Generations known;
    known.put("com.a", {2, "v2"});
    const auto fileOf = [&](const char* argument, const char* generation) {
        return dumpSourceOf(dumpSourceOf(argument, state), generation, state, known).file;
    };
    EXPECT_EQ(fileOf("com.a", "v2"), "/state/dumps/com.a_vmrss.csv");
    EXPECT_EQ(fileOf("com.a", "1"), "/state/dumps/com.a_vmrss.1.csv");
    EXPECT_THAT([&] { fileOf("com.a_vmrss.csv", "1"); }, refuses(kUsage, HasSubstr("PACKAGE")));
}

}  // namespace
}  // namespace host
