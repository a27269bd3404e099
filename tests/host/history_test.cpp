// The history of launches and what show makes of it.
#include "host/state/history.h"

#include <ctime>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/exit_code.h"
#include "host/library/metric.h"
#include "host/state/package_report.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/recorded_text.h"

namespace host {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Words = std::vector<std::string>;

const Words kSettled;

LaunchEntry entryOf(const std::string& package, std::int64_t atUnixMs,
                    std::optional<std::int32_t> endpointMs,
                    const std::string& outcome = "undecided") {
    return {atUnixMs, "watch", package, 1, 0, endpointMs ? "stored" : outcome, endpointMs, {}};
}

class HistoryTest : public testing::Test {
protected:
    const TempFolder mFolder;
    const std::string mFile = mFolder / "history.jsonl";
    const History mHistory{mFile};
};

// As kill -9 leaves it.
TEST_F(HistoryTest, CutOffLineIsPassedOverAndTheNextEntryStandsOnALineOfItsOwn) {
    mHistory.note(entryOf("com.a", 1000, 300));
    const std::string line = toJsonLine(entryOf("com.a", 2000, 400));
    std::ofstream(mFile, std::ios::app) << line.substr(0, line.size() / 2);
    mHistory.note(entryOf("com.a", 3000, 500));
    mHistory.note(entryOf("com.a", 4000, std::nullopt));
    const HistoryContents contents = mHistory.read();
    EXPECT_EQ(contents.unreadableLines, 1U);
    EXPECT_THAT(contents.of("com.a", 1).endpointsMs, ElementsAre(300, 500));
    EXPECT_EQ(contents.of("com.a", 1).lastLaunchedAtUnixMs, 4000);
}

TEST_F(HistoryTest, ForeignLinesAreCountedAndNothingElse) {
    const std::string good = toJsonLine(entryOf("com.a", 1, 30));
    const std::string tooLong = good.substr(0, good.size() - 1) + std::string(1 << 20, ' ') + 'x';
    std::ofstream(mFile) << good << "{\n[]\nnull\n{}\n{\"package\":1}\n\xff\n\n\0\n"s << tooLong
                         << '\n'
                         << good << tooLong;
    const HistoryContents contents = mHistory.read();
    EXPECT_EQ(contents.entries, 2U);
    EXPECT_EQ(contents.unreadableLines, 9U);
}

TEST_F(HistoryTest, NumbersThatAnEntryCannotHoldMakeTheLineUnreadable) {
    const std::string line = toJsonLine(entryOf("com.a", 7, 30));
    const auto with = [&](const std::string& what, const std::string& by) {
        std::string changed = line;
        return parseHistoryLine(changed.replace(changed.find(what), what.size(), by));
    };
    EXPECT_EQ(with(":30", ":2147483647")->endpointMs, 2147483647);
    for (const char* bad : {":-5", ":1e300", ":30.5", ":2147483648", ":-2147483649",
                            ":18446744073709551615", ":true", ":\"30\""})
        EXPECT_FALSE(with(":30", bad)) << bad;
    for (const char* bad : {":9223372036854775808", ":1e300", ":null"})
        EXPECT_FALSE(with(":7", bad)) << bad;
}

// Of the version before doubts.
constexpr const char* kOldLine =
    R"({"schema_version":1,"launched_at_unix_ms":5,"source":"learn","package":"com.a",)"
    R"("launch_type":1,"launch_subtype":0,"outcome":"stored","endpoint_ms":300,)"
    R"("final_endpoint_ms":null})";

LaunchEntry judgedEntry(std::int32_t endpointMs, const Assessment& assessment) {
    LaunchEntry entry = entryOf("com.a", 9, endpointMs);
    entry.assessment = assessment;
    return entry;
}

TEST_F(HistoryTest, OldLinesAreReadAsNotJudgedAndNewOnesKeepTheirDoubts) {
    const std::optional<LaunchEntry> old = parseHistoryLine(kOldLine);
    ASSERT_TRUE(old);
    EXPECT_FALSE(old->assessment.doubts);
    const std::string line = toJsonLine(judgedEntry(600, {803, Words{"growing"}, 990, 15}));
    EXPECT_THAT(line, HasSubstr(R"("final_endpoint_ms":null,"since_start_ms":803,)"
                                R"("doubts":["growing"],"second_opinion_ms":990,)"
                                R"("second_opinion_error_ms":15,"generation":null,"label":null})"));
    EXPECT_EQ(toJsonLine(*parseHistoryLine(line)), line);
    EXPECT_FALSE(parseHistoryLine(R"({"doubts":[7],)" + std::string(kOldLine).substr(1)));

    std::ofstream(mFile) << kOldLine << '\n' << line;
    const Inheritance mixed = inheritedFrom(mHistory.read().of("com.a", 1).latest);
    EXPECT_EQ(mixed.judged, 1U);
    EXPECT_FALSE(mixed.assessment.sinceStartMs) << "of one of two";
    for (int i = 0; i < 4; ++i)
        mHistory.note(judgedEntry(600, {801, kSettled, 600, 30}));
    const Inheritance made = inheritedFrom(mHistory.read().of("com.a", 1).latest);
    EXPECT_EQ(made.judged, 5U) << "the old one is the sixth";
    EXPECT_EQ(made.doubted, 1U);
    EXPECT_EQ(made.assessment.sinceStartMs, 801);
    EXPECT_THAT(*made.assessment.doubts, ElementsAre("growing"));
    EXPECT_EQ(made.assessment.secondOpinionMs, 678);
    EXPECT_EQ(made.assessment.secondOpinionErrorMs, 30);
    LaunchEntry longLaunch = judgedEntry(600, {});
    longLaunch.type = 2;
    mHistory.note(longLaunch);
    mHistory.note(entryOf("com.a", 9, std::nullopt));
    EXPECT_EQ(mHistory.read().of("com.a", 1).type, 2) << "of the last stored one";
}

TEST_F(HistoryTest, FileThatCannotBeReadIsNotTakenForAnEmptyOne) {
    std::filesystem::create_directory(mFile);
    EXPECT_THROW(mHistory.read(), HostError);
}

// Versions before generations wrote none; the numbers of later ones count.
TEST_F(HistoryTest, ErasureBeginsAGenerationAndOnlyOfThatPackage) {
    LaunchEntry numbered = entryOf("com.a", 5, 90);
    numbered.generation = 7;
    numbered.label = "v7";
    for (const LaunchEntry& entry :
         {entryOf("com.a", 1, 30), entryOf("com.b\xff", 2, 60),
          entryOf("com.a", 3, std::nullopt, kErasedOutcome), entryOf("com.a", 4, 60), numbered,
          entryOf("com.a", 6, 120), entryOf("com.a", 7, std::nullopt, kErasedOutcome)})
        mHistory.note(entry);
    const HistoryContents contents = mHistory.read();
    EXPECT_THAT(contents.of("com.a", 1).endpointsMs, ElementsAre(30));
    EXPECT_THAT(contents.of("com.a", 2).endpointsMs, ElementsAre(60));
    EXPECT_THAT(contents.of("com.a", 7).endpointsMs, ElementsAre(90, 120));
    EXPECT_EQ(contents.of("com.a", 7).label, "v7");
    EXPECT_FALSE(contents.of("com.a", 8).lastLaunchedAtUnixMs);
    EXPECT_EQ(contents.byPackage.at("com.a").rbegin()->first, 8);
    EXPECT_THAT(contents.of("com.b\xff", 1).endpointsMs, ElementsAre(60));
}

TEST_F(HistoryTest, FileStaysBoundedAndTheLastLaunchesStayKnown) {
    const std::string line = toJsonLine(entryOf("com.a", 1, 30));
    std::string text;
    while (text.size() < (4U << 20U))
        text += line;
    std::ofstream(mFile) << text;
    mHistory.note(entryOf("com.a", 2, 60));
    EXPECT_EQ(contentOf(mFile), toJsonLine(entryOf("com.a", 2, 60)));
    EXPECT_EQ(mHistory.read().entries, text.size() / line.size() + 1);
}

TEST_F(HistoryTest, ShowTellsTheSpreadAndLeavesEmptyWhatWasNotMeasured) {
    setenv("TZ", "UTC", 1);
    tzset();
    for (const int endpointMs : {300, 900, 330, 360}) {
        LaunchEntry entry = judgedEntry(endpointMs, {endpointMs + 203, kSettled, endpointMs, 15});
        entry.launchedAtUnixMs = 1795235127364;
        mHistory.note(entry);
    }
    LaunchEntry doubted = judgedEntry(30, {240, Words{"growing", "at_rest"}, {}, {}});
    doubted.package = "d\xff";
    mHistory.note(doubted);
    const StoredPackage known{"com.a", false, 4, {300, 900, 330, 360}, {}};
    const StoredPackage hostile{"b \",\n", true, 9, {}, {450}};
    const StoredPackage damaged{"d\xff", true, 9, {}, {450, 460}};
    const HistoryContents history = mHistory.read();
    Generations generations;
    generations.put(hostile.name, {2, "v\"2"});
    const std::vector<StoredPackage> all{known,
                                         hostile,
                                         damaged,
                                         {"e", false, 9, {30, 30}, {450}},
                                         {"f", false, 9, Series(7, 30), {}}};
    expectRecorded("show-csv", renderCsv(all, history, generations, false));
    expectRecorded("show-json", renderJson(all, history, generations));
    expectRecorded("show", renderText(all, history, generations));
}

TEST(AssessmentTest, SecondOpinionIsToldWhereItIsAnother) {
    const auto told = [](std::optional<std::int32_t> opinionMs,
                         std::optional<std::int32_t> endpointMs) {
        return toldText({{}, {}, opinionMs, 30}, endpointMs);
    };
    EXPECT_EQ(told(330, 300), "");
    EXPECT_EQ(told(331, 300), "; second opinion 331 ms, within 30 ms");
    EXPECT_EQ(told(269, 300), "; second opinion 269 ms, within 30 ms");
    EXPECT_EQ(told(300, {}), "; second opinion 300 ms, within 30 ms");
    EXPECT_EQ(told({}, {}), "");
}

}  // namespace
}  // namespace host
