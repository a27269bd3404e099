// What the store holds, as the host reads it: whole, damaged, locked or no store at all.
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include "host/state/store_holder.h"
#include "host/state/store_reader.h"
#include "host/verbs/checkup.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/made_up_store.h"
#include "tests/host/program.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::Not;

TEST(StoreHolderTest, OnlyWhoKeepsWritersAwayIsNamed) {
    const FileIdentity database{makedev(0x8, 0x1), 77};
    const FileIdentity shared{makedev(0x8, 0x1), 78};
    const std::pair<const char*, std::optional<pid_t>> cases[] = {
        {"1: POSIX  ADVISORY  READ 12 08:01:77 1073741826 1073742335\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 12 08:01:77 1073741826 1073742335", 12},
        {"1: POSIX  ADVISORY  READ 12 08:01:78 128 128\n2: POSIX  ADVISORY  READ 13 08:01:78 "
         "124 124\n",
         std::nullopt},
        {"1: POSIX  ADVISORY  READ 12 08:01:78 120 120\n", 12},
        {"1: POSIX  ADVISORY  WRITE 12 08:01:78 0 EOF\n", 12},
        {"1: -> POSIX  ADVISORY  WRITE 12 08:01:78 120 120\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 12 08:02:78 120 120\n", std::nullopt},
        {"1: OFDLCK ADVISORY  WRITE -1 08:01:78 120 120\n", std::nullopt},
        {"1: POSIX  ADVISORY  WRITE 99 08:01:78 120 120\n", std::nullopt},
        {"x\n\n1: POSIX\n", std::nullopt},
    };
    for (const auto& [locks, holder] : cases)
        EXPECT_EQ(writerIn(locks, database, shared, 99), holder) << locks;
}

TEST(StoredPackageTest, DamageIsWhatNeverComesToAResultByItself) {
    const std::vector<std::int32_t> four(4, 300);
    const std::vector<std::int32_t> five(5, 300);
    const struct {
        StoredPackage package;
        bool isKnown;
        bool isDamaged;
        std::optional<std::int32_t> finalMs;
    } cases[] = {
        {{"", true, 5, {}, {450}}, true, false, 450},
        {{"", true, 5, {}, {1}}, true, false, 1},
        {{"", true, 5, {}, {}}, true, true, {}},
        {{"", true, 5, {}, {0}}, true, true, {}},
        {{"", true, 5, {}, {450, 460}}, true, true, {}},
        {{"", false, 4, four, {}}, true, false, {}},
        {{"", false, 5, five, {}}, true, true, {}},
        {{"", false, 0, {}, {450}}, true, false, {}},
        {{"", false, 1, {}, {}}, true, false, {}},
        {{"", true, 0, {}, {}}, true, true, {}},
        {{"", false, 0, four, {}}, true, false, {}},
        {{"", false, 0, {}, {}}, false, false, {}},
    };
    int number = 0;
    for (const auto& [package, isKnown, isDamaged, finalMs] : cases) {
        SCOPED_TRACE(number++);
        EXPECT_EQ(package.isKnown(), isKnown);
        EXPECT_EQ(package.isDamaged(), isDamaged);
        EXPECT_EQ(package.finalEndpointMs(), finalMs);
    }
}

class StoreTest : public HostTest {
protected:
    StoreTest() {
        mFolderOfState.create();
        for (const std::int32_t endpointMs : {300, 330})
            addRow(mFile, "OrvoLearning", "com.a", {endpointMs});
        addRow(mFile, "OrvoStatus", "com.a", {0, 2});
        addRow(mFile, "OrvoStatus", "com.b", {1, 9});
        addRow(mFile, "OrvoEP", "com.b", {450});
    }

    // What doctor finds of the store.
    CheckFinding finding() const { return checkState(mFolderOfState).at(1); }

    void replaceInFile(const std::string& what, const std::string& by) const {
        std::string bytes = contentOf(mFile);
        for (std::size_t at = 0; (at = bytes.find(what, at)) != std::string::npos;)
            bytes.replace(at, what.size(), by);
        std::ofstream(mFile) << bytes;
    }

    const StateFolder mFolderOfState{mState};
    const std::string mFile = mFolderOfState.database();
};

TEST_F(StoreTest, RowsOfAPackageAreReadAloneAndAmongAll) {
    addRow(mFile, "OrvoStatus", "com.c", {});
    StoreReader store(mFile);
    const std::vector<StoredPackage> all = store.packages();
    ASSERT_EQ(all.size(), 3U);
    for (const StoredPackage& a : {all[0], store.package("com.a")}) {
        EXPECT_EQ(a.name, "com.a");
        EXPECT_FALSE(a.learned);
        EXPECT_EQ(a.launchEvents, 2);
        EXPECT_THAT(a.launchEndpointsMs, ElementsAre(300, 330));
    }
    EXPECT_TRUE(all[1].learned);
    EXPECT_EQ(store.package("com.b").finalEndpointMs(), 450);
    EXPECT_FALSE(store.package("com.c").isKnown());
}

TEST_F(StoreTest, ShowTellsOfAllOrOfOneAndOfNoOther) {
    addRow(mFile, "OrvoStatus", "com.\x1b", {0, 1});
    EXPECT_EQ(host({"show", "--csv"}), kDone) << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr("\n1,com.a,2,2,3,300 330,false,,,"),
                            HasSubstr("\n1,com.b,9,0,,,true,450,,"),
                            HasSubstr("\n1,com.\x1b,1,")));  // it is no terminal
    EXPECT_EQ(host({"show", "com.b", "--json"}), kDone);
    EXPECT_THAT(mOut, AllOf(HasSubstr("com.b"), Not(HasSubstr("com.a"))));
    EXPECT_EQ(host({"show", "com.b", "--generations"}), kDone);
    EXPECT_THAT(mOut, AllOf(HasSubstr("\ncom.b    1 "), Not(HasSubstr("com.a"))));
    EXPECT_EQ(host({"show", "com.c"}), kNotLearned);
    EXPECT_EQ(host({"show", "com.c", "--generations"}), kNotLearned);
    EXPECT_THAT(mErr, HasSubstr("nothing is known of com.c"));
    std::filesystem::remove(mFile);
    EXPECT_EQ(host({"show"}), kDone);
    EXPECT_THAT(mErr, HasSubstr("nothing is learned in"));
}

TEST_F(StoreTest, EraseForgetsOnePackageAndItsNextGenerationBegins) {
    std::ofstream(mFolderOfState.dumps() + "/com.a_vmrss.csv") << "recorded";
    EXPECT_EQ(host({"erase", "com.a"}), kDone) << mErr;
    EXPECT_FALSE(StoreReader(mFile).package("com.a").isKnown());
    EXPECT_TRUE(StoreReader(mFile).package("com.b").isKnown());
    EXPECT_EQ(contentOf(mFolderOfState.dumps() + "/com.a_vmrss.1.csv"), "recorded");
    EXPECT_EQ(host({"show", "com.a", "--generations", "--csv"}), kDone) << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr("\n1,com.a,1,,0,"), HasSubstr("\n1,com.a,2,,0,")));
    EXPECT_EQ(host({"erase", "com.a"}), kNotLearned);
    EXPECT_EQ(host({"erase", ""}), kUsage);
}

TEST_F(StoreTest, DoctorTellsOfADamagedPackageAndOfADamagedFile) {
    EXPECT_THAT(finding(), AllOf(Field(&CheckFinding::health, Health::kWell),
                                 Field(&CheckFinding::text, HasSubstr("2 packages, intact"))));
    const auto setVersion = [&](char version) { std::fstream(mFile).seekp(18).put(version); };
    setVersion(3);  // of a later SQLite, to be read only
    EXPECT_THAT(finding().text, HasSubstr("cannot write"));
    setVersion(2);
    EXPECT_EQ(checkState(mFolderOfState).at(0).health, Health::kWell);
    std::filesystem::permissions(mState, std::filesystem::perms{0750});
    EXPECT_THAT(checkState(mFolderOfState).at(0).text, HasSubstr("chmod 700"));
    replaceInFile("com.a", "com.x");  // out of its order, which no reading sees
    EXPECT_THAT(finding(), AllOf(Field(&CheckFinding::health, Health::kAmiss),
                                 Field(&CheckFinding::text, HasSubstr("is damaged ("))));
    replaceInFile("com.x", "com.a");
    addRow(mFile, "OrvoEP", "com.b", {460});
    EXPECT_THAT(finding().text, HasSubstr("com.b is damaged; run: orvo-host erase com.b"));
}

// Its names can still be read.
TEST_F(StoreTest, TableThatCannotBeReadIsNotTakenForAnEmptyOne) {
    const std::string bytes = contentOf(mFile);
    constexpr std::size_t kPage = 4096;
    std::ofstream(mFile) << bytes.substr(0, kPage) << std::string(bytes.size() - kPage, 'x');
    const auto isRefused = refuses(kEnvironment, HasSubstr("cannot be read: database disk image"));
    EXPECT_THAT([&] { StoreReader(mFile).packages(); }, isRefused);
    EXPECT_THAT([&] { StoreReader(mFile).package("com.a"); }, isRefused);
    const std::string garbage(5000, 'x');
    std::ofstream(mFile) << garbage;
    for (const char* verb : {"show", "erase"}) {
        EXPECT_EQ(host({verb, "com.a"}), kEnvironment);
        EXPECT_THAT(mErr, HasSubstr("not a database"));
    }
    EXPECT_EQ(contentOf(mFile), garbage);
}

// It may be without end.
TEST(StoreReaderTest, ViewInATablesPlaceIsRefusedAndNotRun) {
    const TempFolder folder;
    tavodb::Connection store;
    ASSERT_TRUE(store.open(folder / "orvo.db", tavodb::Connection::Access::kReadWriteCreate));
    ASSERT_TRUE(store.execute("CREATE VIEW " + tavodb::sqlTableName("OrvoEP") +
                              " AS SELECT x'61' AS key, 1 AS seq, x'01000000' AS value"));
    EXPECT_THAT([&] { StoreReader(folder / "orvo.db").packages(); },
                refuses(kEnvironment, HasSubstr("view")));
}

TEST(DoctorTest, OneThatIsAmissIsEnoughWhereverItStands) {
    const CheckFinding well{Health::kWell, "", ""};
    const CheckFinding note{Health::kNote, "", ""};
    const CheckFinding amiss{Health::kAmiss, "", ""};
    EXPECT_TRUE(isWell({well, note}));
    EXPECT_FALSE(isWell({amiss, well, note}));
    EXPECT_FALSE(isWell({well, amiss}));
    EXPECT_TRUE(isWell(checkTools()));
}

}  // namespace
}  // namespace host
