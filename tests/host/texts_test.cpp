// What the host prints and the texts it keeps.
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/device_root_mounts.h"
#include "host/package_name.h"
#include "host/process_tree.h"
#include "host/progress.h"
#include "host/report.h"
#include "host/state_folder.h"

namespace host {
namespace {

TEST(ReportTest, LearnedAndUnlearnedPackagesReadAsDocumented) {
    LearnReport report;
    report.package = "com.a";
    report.launches = {{LaunchOutcome::kStored, 1200}, {LaunchOutcome::kUndecided, {}}};
    report.samplesStored = 1;
    EXPECT_EQ(renderText(report),
              "com.a: not learned, 1 of 5 launches stored (launches: 1200 (undecided))\n");
    report.finalEndpointMs = 1234;
    EXPECT_EQ(renderText(report), "com.a: final endpoint 1234 ms (launches: 1200 (undecided))\n");
    EXPECT_EQ(
        renderJson(report),
        R"({"schema_version":1,"package":"com.a","launches":[)"
        R"({"endpoint_ms":1200,"outcome":"stored"},{"endpoint_ms":null,"outcome":"undecided"}],)"
        R"("learned":true,"final_endpoint_ms":1234})"
        "\n");
    report.launches.clear();
    EXPECT_EQ(renderText(report), "com.a: final endpoint 1234 ms (already learned)\n");
}

TEST(ReportTest, NotMeasuredIsNullAndHostileNamesStayOneLine) {
    StoredPackage package;
    package.name = "a\n\xff\"";
    package.launchEvents = 2;
    package.launchEndpointsMs = {30};
    EXPECT_THAT(renderJson(std::vector<StoredPackage>{package}),
                testing::AllOf(testing::HasSubstr(R"("final_endpoint_ms":null)"),
                               testing::HasSubstr(R"("samples_needed":4)")));
    package.learned = true;
    package.finalEndpointsMs = {450, 460};
    const std::string text = renderText(std::vector<StoredPackage>{package});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_THAT(text, testing::HasSubstr("damaged"));
    package.finalEndpointsMs = {450};
    EXPECT_EQ(package.finalEndpointMs(), 450);
}

TEST(ProgressTest, BarStaysInItsBoundsWhenALaunchTakesLonger) {
    LaunchRecord record;
    record.take({3, "TAVO-ORVO-LEARNER", "statsCollector", "Decided Samples = 34. Starting"});
    EXPECT_EQ(barText("t", record, 510), "t [############------------] sampling 0.5 s");
    EXPECT_EQ(barText("t", record, 9000), "t [########################] sampling 9.0 s");
}

TEST(StateFolderTest, OnePropertyChangesAndTheOthersStay) {
    struct Case {
        const char* before;
        const char* value;
        const char* after;
    };
    for (const Case& c :
         {Case{"", "true", "a.b=true\n"}, Case{"# c\nx=1", "true", "# c\nx=1\na.b=true\n"},
          Case{" a.b = false\nx=1\na.b=true", "true", "x=1\na.b=true\n"},
          Case{"a.b=true\na.bc=1\n", "", "a.bc=1\n"}, Case{"a.b\n\n", "", "a.b\n\n"}}) {
        EXPECT_EQ(withProperty(c.before, "a.b", c.value), c.after) << c.before;
    }
}

TEST(PackageNameTest, NamesThatTheLogOrTheOutputCannotCarryAreRefused) {
    for (const std::string good : {"com.example.app", "/usr/bin/x", "a b'\"`%", "\xc3\xa4"}) {
        EXPECT_EQ(packageNameFault(good), "") << good;
    }
    EXPECT_EQ(packageNameFault(std::string(255, 'a')), "");
    for (const std::string& bad : {std::string(), std::string("a\nb"), std::string(256, 'a')}) {
        EXPECT_NE(packageNameFault(bad), "") << bad;
    }
}

TEST(ProcessStatTest, ParentIsFoundBehindAHostileName) {
    const auto stat = parseProcessStat("12 (a) R 7 (b) S 34 12 12 0");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->state, 'S');
    EXPECT_EQ(stat->parent, 34);
    for (const char* bad : {"", "12 (a", "12 (a) ", "12 (a) S ", "12 (a) S x"}) {
        EXPECT_FALSE(parseProcessStat(bad)) << bad;
    }
}

TEST(MirrorTest, FoldersOnTheWayToAGraftAreMadeAnewAndAllElseIsBound) {
    namespace fs = std::filesystem;
    std::string root = testing::TempDir() + "mirror-XXXXXX";
    ASSERT_NE(mkdtemp(root.data()), nullptr);
    fs::create_directories(root + "/dev/cpuset/other");
    fs::create_directories(root + "/devices");
    fs::create_symlink("devices", root + "/link");
    const std::vector<std::string> arguments =
        mirrorArguments(root, {{"/dev/cpuset/top-app/tasks", {"GRAFT"}}});
    fs::remove_all(root);
    EXPECT_THAT(arguments,
                testing::ElementsAre("--dir", "/dev", "--dir", "/dev/cpuset", "--dev-bind-try",
                                     root + "/dev/cpuset/other", "/dev/cpuset/other",
                                     "--dev-bind-try", root + "/devices", "/devices", "--symlink",
                                     "devices", "/link", "GRAFT"));
}

}  // namespace
}  // namespace host
