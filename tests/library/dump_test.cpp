// The CSV dump, byte for byte.
#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/library/learner_test.h"
#include "tests/support/device.h"

namespace {

class DumpTest : public LearnerTest {
protected:
    DumpTest() {
        mPeer.dumpEnabled = true;
        mPeer.appName = mApp;
    }
    ~DumpTest() override { unlink(mPath.c_str()); }

    std::string mApp = "dump." + std::to_string(getpid());
    std::string mPath = device::dumpPath(mApp);
};

// The rows end with the longest series but for the top values.
TEST_F(DumpTest, BlockIsExactAndBlocksAreAppended) {
    mPeer.ageTable = {1.5F};  // of series below 12 samples all are in the first twelfth
    mPeer.setLaunchType(2);   // not decided yet
    mPeer.setSeries({-5, 912, 7}, {1, 50, 300, 302}, {17, 17});
    mLearner.churnForStablizingPoints(0, 1);
    const std::string block =
        "\n\n FD, OOM, VMRSS,VmRssAge,OOMScroeAge,FDCountAge,mAgeTable,mVmRssTop12,mOOMScroeTop12,"
        "mFDCountTop12"
        "\n17, 1, -5, 1.500000, 1.500000, 1.500000, 1.500000, 912, 302, 17, "
        "\n17, 50, 912, 1.500000, 1.500000, 1.500000, 0, 7, 300, 0, "
        "\n0, 300, 7, 1.500000, 1.500000, 0, 0, -5, 50, 0, "
        "\n0, 302, 0, 0, 1.500000, 0, 0, 912, 1, 0, "
        "\nmVmRssEp, mOOMScroeEp, mFDCountEp\n1, 2, 0\n"
        "\nmVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest\n912, 302, 17\n";
    mPeer.epIdx = 42;  // a candidate still
    LogCapture log(3);
    mLearner.exportToFile();
    EXPECT_EQ(device::contentOf(mPath), block);
    mPeer.decided = true;
    mLearner.exportToFile();
    mLearner.exportToFile("Aborted Before analysis", 0, mApp.c_str());
    EXPECT_EQ(device::contentOf(mPath),
              block + block + "\nFinal : 42\n" + "\nAborted Before analysis 0\n");
    EXPECT_EQ(log.take(), "4, 2, 3\n; " + mApp + " = 912, 302, 17\n; 4, 2, 3\n; " + mApp +
                              " = \nFinal : 42\n; Writing Meter Marker for data to " + mPath +
                              "; " + mApp + " = Aborted Before analysis 0\n");
}

TEST_F(DumpTest, RowsRunToTheLongestSeriesTheAgeTableIncluded) {
    const auto rows = [&] {
        unlink(mPath.c_str());
        mLearner.exportToFile();
        const std::string content = device::contentOf(mPath);
        return std::count(content.begin(), content.end(), '\n') - 8;
    };
    EXPECT_EQ(rows(), 12);
    mPeer.setLaunchType(2);
    for (std::size_t metric = 0; metric < 3; ++metric) {
        std::vector<std::int32_t> series[3];
        series[metric].resize(20);
        mLearner.clearAll();
        mPeer.setSeries(series[0], series[1], series[2]);
        EXPECT_EQ(rows(), 20) << metric;
        mLearner.churnForStablizingPoints(0, 1);
        mLearner.churnForStablizingPoints(0, 1);  // adds as many ages again
        EXPECT_EQ(rows(), 40) << metric;
    }
}

TEST_F(DumpTest, RefusesInItsOrderAndWritesNothing) {
    LogCapture log(3);
    mPeer.dumpEnabled = false;
    mLearner.exportToFile();
    mLearner.exportToFile("marker", 1, mApp.c_str());
    mLearner.exportToFile(nullptr, 1, mApp.c_str());
    mLearner.exportToFile("marker", 1, nullptr);
    EXPECT_EQ(log.take(),
              "dump property not set, cancelling\n; dump property not set, cancelling\n; "
              "invalid parameters, cancelling\n; invalid parameters, cancelling\n");
    EXPECT_NE(access(mPath.c_str(), F_OK), 0);
}

TEST_F(DumpTest, PathThatCannotBeOpenedOrLeavesTheFolderIsPassedOverAndALongOneIsCut) {
    LogCapture log(2);
    ASSERT_EQ(mkdir(mPath.c_str(), 0700), 0);
    for (const std::string& name : {"../" + mApp, mApp}) {
        mPeer.appName = name;
        mLearner.exportToFile();
        mLearner.exportToFile("marker", 1, name.c_str());
        EXPECT_EQ(access(device::dumpPath(name).c_str(), F_OK), name == mApp ? 0 : -1) << name;
    }
    EXPECT_EQ(rmdir(mPath.c_str()), 0);
    const std::string longName = mApp + std::string(200, 'n');
    mPath = device::dumpPath(longName).substr(0, 127);
    mLearner.exportToFile("marker", -7, longName.c_str());
    EXPECT_EQ(device::contentOf(mPath), "\nmarker -7\n");
    EXPECT_EQ(log.take(), "");
}

TEST_F(DumpTest, PropertyEnablesTheDumpWhenItIsExactlyTrue) {
    const std::pair<std::optional<std::string>, bool> cases[] = {{"true", true},
                                                                 {std::nullopt, true},
                                                                 {"True", false},
                                                                 {"true ", false},
                                                                 {std::nullopt, false}};
    mPeer.dumpEnabled = false;
    for (const auto& [property, isEnabled] : cases) {
        framework().dumpProperty = property;
        mPeer.launchEndpoint = 5;
        EXPECT_EQ(mLearner.Init(), 0);
        EXPECT_EQ(mPeer.dumpEnabled, isEnabled) << property.value_or("absent: as before");
        EXPECT_EQ(mPeer.launchEndpoint, 0);
        EXPECT_EQ(mPeer.settlingDuration, 8100);
    }
}

}  // namespace
