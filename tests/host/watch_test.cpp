// orvo-host watch, join and doctor as a person runs them.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/program.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class WatchTest : public HostTest {
protected:
    static bool isWatching(const Program& watch) {
        eventually([&] { return watch.err().find('\n') != std::string::npos; });
        return watch.err().find("watching") != std::string::npos;
    }
    static bool hasTold(const Program& watch) {
        return eventually([&] { return watch.out().find('\n') != std::string::npos; });
    }
};

TEST_F(WatchTest, LaunchesFromOutsideAreLearnedByTheirRulesUntilTermShutsDownInOrder) {
    std::ofstream(mFolder / "rules") << mPackage << "* 1 2\n";
    Program watch(hostWords({"watch", "--json", "--rules", mFolder / "rules"}));
    ASSERT_TRUE(isWatching(watch)) << watch.err();
    EXPECT_EQ(host({"watch"}), 3);
    EXPECT_THAT(mErr, HasSubstr("watches this state folder already"));

    // The launch is in a child of what joined.
    const std::string launch = "(exec -a " + mPackage + " " + ORVO_SAMPLE_APP + ")";
    Program app(hostWords(
        {"join", "--", "/bin/bash", "-c", "trap 'kill $!' TERM; " + launch + " & wait; wait"}));
    ASSERT_TRUE(hasTold(watch)) << watch.err();
    watch.signal(SIGUSR1);
    EXPECT_TRUE(eventually([&] { return watch.err().find("cost: ") != std::string::npos; }));

    Program last(hostWords({"join", mPackage + ".last", "--", ORVO_SAMPLE_APP}));
    const std::string taken = "Start Learning appName:" + mPackage + ".last";
    ASSERT_TRUE(eventually(
        [&] { return contentOf(mState + "/orvo.log").find(taken) != std::string::npos; }));
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 0);
    app.signal(SIGTERM);
    app.wait();
    last.signal(SIGTERM);
    EXPECT_EQ(last.wait(), 128 + SIGTERM);
    EXPECT_EQ(processesNamed(mPackage), 0);
    EXPECT_EQ(watch.out(), contentOf(mState + "/history.jsonl"));
    EXPECT_EQ(contentOf(mState + "/watch.pid"), "");  // another process's by and by

    std::istringstream lines(watch.out());
    std::map<std::string, json> results;
    for (json result; !(lines >> std::ws).eof() && lines >> result;)
        results[result["package"]] = result;
    const json learned = results[mPackage];
    EXPECT_EQ(learned["outcome"], "stored") << watch.out();
    EXPECT_EQ(learned["launch_subtype"], 2);
    EXPECT_GT(learned["endpoint_ms"], 0);
    EXPECT_TRUE(learned["final_endpoint_ms"].is_null());
    EXPECT_EQ(results[mPackage + ".last"]["outcome"], "interrupted");
    EXPECT_TRUE(results[mPackage + ".last"]["endpoint_ms"].is_null());

    ASSERT_EQ(host({"erase", mPackage}), 0) << mErr;
    EXPECT_THAT(contentOf(mState + "/history.jsonl"), HasSubstr("\"erased\""));
    EXPECT_EQ(host({"show", "--csv"}), 0);
    EXPECT_THAT(
        mOut, AllOf(HasSubstr(mPackage + ".last,1,0,5,,false,,1"), Not(HasSubstr(mPackage + ","))));
}

// A descriptor held on the kernel's list shows the tasks of its first read.
TEST_F(WatchTest, LaunchesInTheKernelsOwnCpusetAreSeen) {
    Program watch(hostWords({"watch", "--real-cpuset"}));
    if (!isWatching(watch)) GTEST_SKIP() << watch.err();
    Program app(hostWords({"join", mPackage, "--", ORVO_SAMPLE_APP}));
    EXPECT_TRUE(hasTold(watch)) << watch.err();
    EXPECT_THAT(watch.out(), HasSubstr(" ms stored"));
    app.signal(SIGTERM);
    app.wait();
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(WatchTest, JoinPassesTheExitCodeOnAndNeedsAWatch) {
    EXPECT_EQ(host({"join", mPackage, "--", "/bin/true"}), 3);
    EXPECT_THAT(mErr, HasSubstr("start orvo-host watch"));
    EXPECT_EQ(host({"join", "x", "--", "/bin/true"}), 2) << "no package's name";
    Program watch(hostWords({"watch"}));
    ASSERT_TRUE(isWatching(watch)) << watch.err();
    EXPECT_EQ(host({"join", mPackage, "--", "/bin/sh", "-c", "exit 7"}), 7);
    EXPECT_EQ(host({"join", mPackage, "--", "/nowhere"}), 127);
}

TEST_F(WatchTest, DoctorFailsOnWhatIsAmissWithTheRemedy) {
    EXPECT_EQ(host({"doctor"}), 0) << mOut << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr("nothing learned yet"), Not(HasSubstr("FAIL"))));
    EXPECT_FALSE(std::filesystem::exists(mState)) << "doctor has changed something";

    std::filesystem::create_directory(mState);
    std::ofstream(mState + "/orvo.db") << std::string(9000, 'x');
    std::ofstream(mState + "/properties") << "a=b\n" << '\0';
    std::ofstream(mState + "/history.jsonl") << "{\"cut";
    EXPECT_EQ(host({"doctor"}), 3);
    EXPECT_THAT(mOut, AllOf(HasSubstr("ok    task list"), HasSubstr("FAIL  store"),
                            HasSubstr("properties:2: "), HasSubstr("1 lines, cut off")));
}

TEST_F(WatchTest, BadRulesAreTheCallersFault) {
    std::ofstream(mFolder / "rules") << "com.a 1\ncom.b two\n";
    EXPECT_EQ(host({"watch", "--rules", mFolder / "rules"}), 2);
    EXPECT_THAT(mErr, HasSubstr("rules:2: 'two' is no 32-bit number"));
}

}  // namespace
