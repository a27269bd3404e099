// Notes beside a dump: what they hold, whose they are, and what they change.
#include "host/dump/launch_notes.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/dump/dump_name.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/golden_dumps.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(NotesName, FollowsTheDumpsAlsoThroughGenerationsAndCutNames) {
    EXPECT_EQ(notesNameOf("/d/a.b_vmrss.csv"), "/d/a.b_launches.jsonl");
    EXPECT_EQ(notesNameOf("a.b_vmrss.12.csv"), "a.b_launches.12.jsonl");
    EXPECT_EQ(notesNameOf("a_vmrss.2_vmrss.csv"), "a_vmrss.2_launches.jsonl");
    for (const char* other : {"a_vm", "a.csv", "a_vmrss.x.csv", "a_vmrss..csv", "a_vmrss.csv.csv"})
        EXPECT_EQ(notesNameOf(other), std::string(other) + "_launches.jsonl");
}

DumpedLaunch launchOf(std::int64_t number, Series memoryKb) {
    DumpedLaunch launch;
    launch.number = number;
    launch.series[Metric::kVmRss] = std::move(memoryKb);
    launch.evaluations.resize(1);
    return launch;
}

LaunchNote noteOn(const Series& memoryKb, std::int32_t firstMs) {
    LaunchNote note;
    note.windowSamples = kShortWindow;
    note.samples = memoryKb.size();
    note.fingerprint = fingerprintOf(memoryKb, memoryKb.size());
    note.firstSampleSinceStartMs = firstMs;
    return note;
}

const Series kOne{100, 200, 300};
const Series kOther{100, 200, 301};

class LaunchNotesTest : public testing::Test {
protected:
    void write(const std::string& lines) const {
        std::ofstream(mFolder / "a_launches.jsonl") << lines;
    }

    // The first sample's time of each launch's note, -1 without.
    std::vector<std::int32_t> timesOf(std::vector<DumpedLaunch> launches) const {
        LaunchNotes notes({mFolder / "a_vmrss.csv", "a", true});
        for (const DumpedLaunch& launch : launches)
            notes.count(launch);
        std::vector<std::int32_t> times;
        for (DumpedLaunch& launch : launches) {
            notes.attachTo(launch);
            times.push_back(launch.note ? *launch.note->firstSampleSinceStartMs : -1);
        }
        return times;
    }

    const TempFolder mFolder;
    const std::vector<DumpedLaunch> mThree{launchOf(1, kOne), launchOf(2, kOther),
                                           launchOf(3, kOne)};
};

TEST_F(LaunchNotesTest, EachLaunchGetsItsOwnAlsoAmongDamagedLinesAndOfThoseAlikeByTheirOrder) {
    EXPECT_THAT(timesOf(mThree), ElementsAre(-1, -1, -1)) << "no file is normal";
    const std::string one = toJsonLine(noteOn(kOne, 1));
    const std::string cutOff = toJsonLine(noteOn(kOther, 9)).substr(0, 150);
    write(one + cutOff + "\n\n[1]\n{\"samples\":null}\n" + std::string(3U << 20U, 'x') + '\n' +
          toJsonLine(noteOn(kOther, 2)) + toJsonLine(noteOn(kOne, 3)) + cutOff);
    EXPECT_THAT(timesOf(mThree), ElementsAre(1, 2, 3));
    EXPECT_THAT(timesOf({mThree[1], mThree[2]}), ElementsAre(2, 3)) << "the oldest was dropped";
}

TEST_F(LaunchNotesTest, OfLaunchesThatAreAlikeNoneIsGivenAnothersNote) {
    write(toJsonLine(noteOn(kOne, 1)) + toJsonLine(noteOn(kOther, 2)));
    EXPECT_THAT(timesOf(mThree), ElementsAre(-1, 2, -1));
}

TEST_F(LaunchNotesTest, ALinkInTheirPlaceIsRefused) {
    fs::create_symlink("elsewhere", mFolder / "a_launches.jsonl");
    EXPECT_THAT([&] { timesOf(mThree); }, refuses(kEnvironment, HasSubstr("symbolic link")));
}

TEST(LaunchNote, IsReadAsItWasWrittenAndNumbersBeyondItsOwnAreNone) {
    LaunchNote note = noteOn(kOne, 231);
    note.launchedAtUnixMs = 1'700'000'000'123;
    note.kind = {2, -1};
    note.lookAfterKb = {300, 310};
    note.endpointMs = 67;
    note.assessment = {290, std::vector<std::string>{"at_rest"}, 90, 15};
    const std::string line = toJsonLine(note);
    const auto read = parseNoteLine(line);
    ASSERT_TRUE(read);
    EXPECT_EQ(toJsonLine(*read), line);
    EXPECT_THAT(line, HasSubstr(R"("memory_fnv1a":"5ba15bb80b2acd2a")")) << "kept in files";
    std::string tooLarge = line;
    tooLarge.replace(tooLarge.find("[300"), 4, "[3000000000");
    EXPECT_FALSE(parseNoteLine(tooLarge));
}

}  // namespace
}  // namespace host
