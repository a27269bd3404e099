// The host's programs, with real processes, through the built library.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>
#include <unistd.h>

#include "host/store_reader.h"
#include "tests/host/program.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using Words = std::vector<std::string>;

constexpr double kFirstLookMs = 200;

class HostTest : public testing::Test {
protected:
    // Runs orvo-host on the test's state; what it said is in mOut and mErr.
    int host(const Words& words, const Words& settings = {}) {
        Program program(hostWords(words), settings);
        const int code = program.wait();
        mOut = program.out();
        mErr = program.err();
        return code;
    }

    Words hostWords(Words words) const {
        words.insert(words.begin(), ORVO_HOST);
        words.insert(words.begin() + 2, {"--state", mState});
        return words;
    }

    static Words learnSample(const std::string& package, const Words& options,
                             const Words& sampleOptions) {
        Words words{"learn", package};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--", ORVO_SAMPLE_APP});
        words.insert(words.end(), sampleOptions.begin(), sampleOptions.end());
        return words;
    }

    // No other run's, so that its processes can be told apart.
    const std::string mPackage = "com.test.p" + std::to_string(getpid());
    const TempFolder mFolder;
    const std::string mState = mFolder / "state";
    const std::string mTruth = mFolder / "truth";
    std::string mOut;
    std::string mErr;
};

double meanTruthMs(const std::string& file) {
    std::istringstream lines(contentOf(file));
    const std::vector<double> truthMs{std::istream_iterator<double>(lines), {}};
    return std::accumulate(truthMs.begin(), truthMs.end(), 0.0) /
           static_cast<double>(truthMs.size());
}

TEST_F(HostTest, WholeRunLearnsTheTrueSettlingTimeAndLeavesNoProcess) {
    ASSERT_EQ(host(learnSample(
                  mPackage, {"--json", "--dump", "-v"},
                  {"--truth", mTruth, "--drop-kb", "8192", "--children", "1", "--detached"})),
              0)
        << mErr;
    EXPECT_EQ(processesNamed(mPackage), 0);
    const json learned = json::parse(mOut);  // and so no log line among it
    EXPECT_THAT(mErr, HasSubstr("Learned Launch Endpoint for " + mPackage));
    EXPECT_EQ(learned["launches"].size(), 5U);
    EXPECT_EQ(learned["launches"][4]["outcome"], "stored");
    const double finalMs = learned["final_endpoint_ms"];
    EXPECT_NEAR(finalMs, meanTruthMs(mTruth) - kFirstLookMs, 100) << mOut << contentOf(mTruth);
    EXPECT_THAT(contentOf(mState + "/dumps/" + mPackage + "_vmrss.csv"), HasSubstr("VMRSS"));

    ASSERT_EQ(host({"show", "--json"}), 0) << mErr;
    const json shown = json::parse(mOut)["packages"];
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0]["final_endpoint_ms"], finalMs);
    EXPECT_EQ(shown[0]["launch_events"], 5);

    EXPECT_EQ(host(learnSample(mPackage, {}, {})), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("already learned"));
    EXPECT_EQ(mErr, "");  // nor what the library's thread logs last of all
    EXPECT_EQ(host({"erase", mPackage}), 0) << mErr;
    EXPECT_EQ(host({"show", mPackage}), 1);
    EXPECT_THAT(mErr, HasSubstr("nothing is known"));
}

TEST_F(HostTest, CommandThatLeavesBeforeOrAfterItWasFoundExitedEarly) {
    for (const char* exitAfterMs : {"20", "600"}) {
        EXPECT_EQ(host(learnSample(mPackage, {"--launches", "1", "--json", "--log-level", "0"},
                                   {"--exit-after-ms", exitAfterMs})),
                  1)
            << mErr;
        const json launch = json::parse(mOut)["launches"][0];
        EXPECT_EQ(launch["outcome"], "exited early") << exitAfterMs;
        EXPECT_TRUE(launch["endpoint_ms"].is_null());
    }
    EXPECT_THAT(contentOf(mState + "/orvo.log"), testing::Not(HasSubstr(" D TAVO")));
}

TEST_F(HostTest, ChildThatOutlivesItsParentIsEndedToo) {
    EXPECT_EQ(host(learnSample(mPackage, {"--launches", "1"},
                               {"--exit-after-ms", "0", "--children", "1", "--detached"})),
              1)
        << mErr;
    EXPECT_THAT(mOut, HasSubstr("undecided"));  // found, by the name it has of its parent
    EXPECT_EQ(processesNamed(mPackage), 0);
}

TEST_F(HostTest, InterruptedRunEndsChildrenAndKeepsWhatWasStored) {
    // The longer window leaves a loaded machine time to send the signal within it.
    const Words words =
        learnSample(mPackage, {"--subtype", "1"},
                    {"--truth", mTruth, "--children", "2", "--detached", "--ignore-term"});
    Program program(hostWords(words));
    const auto launches = [&] {
        const std::string truth = contentOf(mTruth);
        return std::count(truth.begin(), truth.end(), '\n');
    };
    ASSERT_TRUE(eventually([&] { return launches() == 2; }));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 130) << program.err();
    EXPECT_EQ(processesNamed(mPackage), 0);
    EXPECT_THAT(contentOf(mState + "/orvo.log"), AllOf(HasSubstr("Abort"), HasSubstr("DeInit")));

    const host::StoredPackage stored = host::StoreReader(mState + "/orvo.db").package(mPackage);
    EXPECT_EQ(stored.launchEvents, 2);
    EXPECT_EQ(stored.launchEndpointsMs.size(), 1U);
}

TEST_F(HostTest, KilledHostLeavesNoProcess) {
    Program program(hostWords(learnSample(mPackage, {}, {"--truth", mTruth, "--children", "2"})));
    ASSERT_TRUE(eventually([&] { return !contentOf(mTruth).empty(); }));
    program.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return processesNamed(mPackage) == 0; }));
}

TEST_F(HostTest, CommandsThatCannotRunHaveTheShellsCodesAndLeaveNoLaunch) {
    const std::string script = mFolder / "script";
    std::ofstream(script) << "#!/nonexistent/interpreter\n";
    EXPECT_EQ(host({"learn", "p", "--", "no-such-command-of-any"}), 127);
    EXPECT_EQ(host({"learn", "p", "--", script}), 126);
    EXPECT_THAT(mErr, HasSubstr("chmod"));
    EXPECT_EQ(host({"learn", "p", "--", "/"}), 126);
    EXPECT_EQ(host({"show", "p"}), 1);
    ASSERT_EQ(chmod(script.c_str(), 0700), 0);
    EXPECT_EQ(host({"learn", "p", "--", script}), 126);
    EXPECT_THAT(mErr, HasSubstr("interpreter"));
}

TEST_F(HostTest, WrongUsageIsOneLineAndCodeTwo) {
    for (const Words& words :
         {Words{"learn", "p"}, Words{"learn", "p", "--"}, Words{"learn", "", "--", "true"},
          Words{"learn", "p", "--launches", "0", "--", "true"},
          Words{"learn", "p", "--type", "9999999999", "--", "true"},
          Words{"learn", "p", "--nonsense", "--", "true"}, Words{"erase"},
          Words{"show", "p", "--", "true"}, Words{"non\nsense"}}) {
        EXPECT_EQ(host(words), 2) << words.back();
        EXPECT_EQ(std::count(mErr.begin(), mErr.end(), '\n'), 1) << mErr;
    }
    EXPECT_EQ(host({"learn", "--help"}), 0);
    EXPECT_THAT(mOut, AllOf(HasSubstr("-- COMMAND"), HasSubstr("130  interrupted")));
}

TEST_F(HostTest, StoreThatIsNoDatabaseIsRefusedAndLeftAsItWas) {
    ASSERT_EQ(mkdir(mState.c_str(), 0700), 0);
    const std::string database = mState + "/orvo.db";
    const std::string garbage(5000, 'x');
    std::ofstream(database) << garbage;
    for (const Words& words : {Words{"show"}, Words{"erase", "p"}, learnSample("p", {}, {})}) {
        EXPECT_EQ(host(words), 3) << words.front();
        EXPECT_THAT(mErr, AllOf(HasSubstr("not a database"), HasSubstr("--state")))
            << words.front();
    }
    EXPECT_EQ(contentOf(database), garbage);
    Program nowhere({ORVO_HOST, "learn", "p", "--state", "/dev/null/x", "--", "true"});
    EXPECT_EQ(nowhere.wait(), 3);
}

TEST_F(HostTest, StoreWhoseMakingWasCutShortHoldsNothing) {
    ASSERT_EQ(mkdir(mState.c_str(), 0700), 0);
    std::ofstream(mState + "/orvo.db").flush();
    EXPECT_EQ(host({"show", "p"}), 1) << mErr;
    EXPECT_EQ(host({"show"}), 0) << mErr;
}

TEST_F(HostTest, DeviceRootHasTheTwoPathsPassesCodesOnAndLeavesTheMachineAlone) {
    const bool hadTasks = std::filesystem::exists("/dev/cpuset/top-app/tasks");
    const bool hadDumps = std::filesystem::exists("/data/vendor/lm");
    Program inside({ORVO_DEVICE_ROOT_PROGRAM, "--state", mState, "--", "sh", "-c",
                    "echo 1 > /dev/cpuset/top-app/tasks && echo x > /data/vendor/lm/mark && "
                    "test -c /dev/null -a -d /proc/self && exit 7"});
    EXPECT_EQ(inside.wait(), 7) << inside.err();
    EXPECT_EQ(contentOf(mState + "/dumps/mark"), "x\n");
    EXPECT_EQ(std::filesystem::exists("/dev/cpuset/top-app/tasks"), hadTasks);
    EXPECT_EQ(std::filesystem::exists("/data/vendor/lm"), hadDumps);

    // A host inside stays inside, and leaves no task of its launch in the list.
    const std::string script = std::string(ORVO_HOST) + " learn " + mPackage +
                               " --launches 1 --state " + mState + " -- " + ORVO_SAMPLE_APP +
                               "; cat /dev/cpuset/top-app/tasks";
    Program nested({ORVO_DEVICE_ROOT_PROGRAM, "--", "sh", "-c", script});
    EXPECT_EQ(nested.wait(), 0) << nested.err();
    EXPECT_THAT(nested.out(), AllOf(HasSubstr("1 of 5"), testing::EndsWith(")\n")));

    EXPECT_EQ(host(learnSample("p", {}, {}), {"PATH=/nonexistent"}), 3);
    EXPECT_THAT(mErr, HasSubstr("apt-get install bubblewrap"));
}

}  // namespace
