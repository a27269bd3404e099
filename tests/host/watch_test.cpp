// orvo-host watch, join and doctor as a person runs them.
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

#include "tests/host/program.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

class WatchTest : public testing::Test {
protected:
    Words host(const std::string& verb, const Words& rest = {}) const {
        Words words{ORVO_HOST, verb, "--state", mState};
        words.insert(words.end(), rest.begin(), rest.end());
        return words;
    }

    Words join(const std::string& package, const Words& command) const {
        Words words = host("join", {package, "--"});
        words.insert(words.end(), command.begin(), command.end());
        return words;
    }

    static bool isWatching(const Program& watch) {
        return eventually([&] { return watch.err().find("watching") != std::string::npos; });
    }

    static bool hasLines(const Program& watch, std::size_t number) {
        return eventually([&] {
            const std::string out = watch.out();
            return std::count(out.begin(), out.end(), '\n') >= static_cast<std::ptrdiff_t>(number);
        });
    }

    const TempFolder mFolder;
    const std::string mState = mFolder / "state";
    const std::string mPackage = "com.test.w" + std::to_string(getpid());
};

TEST_F(WatchTest, LaunchesFromOutsideAreLearnedByTheirRulesUntilTermShutsDownInOrder) {
    std::ofstream(mFolder / "rules") << mPackage << "* 1 2\n";
    Program watch(host("watch", {"--json", "--rules", mFolder / "rules"}));
    ASSERT_TRUE(isWatching(watch)) << watch.err();
    Program second(host("watch"));
    EXPECT_EQ(second.wait(), 3);
    EXPECT_THAT(second.err(), HasSubstr("watches this state folder already"));

    // The launch is in a child of what joined.
    Program app(host("join", {"--", "/bin/bash", "-c",
                              "trap 'kill $!' TERM; (exec -a " + mPackage + " " + ORVO_SAMPLE_APP +
                                  ") & wait; wait"}));
    ASSERT_TRUE(hasLines(watch, 1)) << watch.out() << watch.err();
    watch.signal(SIGUSR1);
    EXPECT_TRUE(eventually([&] { return watch.err().find("cost: ") != std::string::npos; }));

    Program last(join(mPackage + ".last", {ORVO_SAMPLE_APP}));
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
    EXPECT_THAT(watch.err(), HasSubstr(" % of a core over "));
    EXPECT_EQ(watch.out(), contentOf(mState + "/history.jsonl"));

    EXPECT_EQ(contentOf(mState + "/watch.pid"), "");  // another process's by and by

    std::istringstream lines(watch.out());
    std::map<std::string, json> results;
    for (std::string line; std::getline(lines, line);) {
        const json result = json::parse(line);
        results[result["package"]] = result;
    }
    const json learned = results[mPackage];
    EXPECT_EQ(learned["outcome"], "stored") << watch.out();
    EXPECT_EQ(learned["launch_subtype"], 2);
    EXPECT_GT(learned["endpoint_ms"], 0);
    EXPECT_TRUE(learned["final_endpoint_ms"].is_null());
    EXPECT_EQ(results[mPackage + ".last"]["outcome"], "interrupted");
    EXPECT_TRUE(results[mPackage + ".last"]["endpoint_ms"].is_null());

    Program erase(host("erase", {mPackage}));
    ASSERT_EQ(erase.wait(), 0) << erase.err();
    Program show(host("show", {"--csv"}));
    EXPECT_EQ(show.wait(), 0);
    EXPECT_THAT(show.out(), AllOf(HasSubstr(mPackage + ".last,1,0,5,,false,,1"),
                                  Not(HasSubstr(mPackage + ","))));
}

// A descriptor held on the kernel's list shows the tasks of its first read.
TEST_F(WatchTest, LaunchesInTheKernelsOwnCpusetAreSeen) {
    Program watch(host("watch", {"--real-cpuset"}));
    if (!isWatching(watch)) GTEST_SKIP() << watch.err();
    Program app(join(mPackage, {ORVO_SAMPLE_APP}));
    EXPECT_TRUE(hasLines(watch, 1)) << watch.err();
    EXPECT_THAT(watch.out(), HasSubstr(" ms stored"));
    app.signal(SIGTERM);
    app.wait();
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(WatchTest, JoinPassesTheExitCodeOnAndNeedsAWatch) {
    Program alone(join(mPackage, {"/bin/true"}));
    EXPECT_EQ(alone.wait(), 3);
    EXPECT_THAT(alone.err(), HasSubstr("start orvo-host watch"));
    Program badName(join("x", {"/bin/true"}));
    EXPECT_EQ(badName.wait(), 2);
    Program watch(host("watch"));
    ASSERT_TRUE(isWatching(watch)) << watch.err();
    Program exits(join(mPackage, {"/bin/sh", "-c", "exit 7"}));
    EXPECT_EQ(exits.wait(), 7);
    Program missing(join(mPackage, {"/nowhere"}));
    EXPECT_EQ(missing.wait(), 127);
}

TEST_F(WatchTest, DoctorFailsOnWhatIsAmissWithTheRemedy) {
    Program well(host("doctor"));
    EXPECT_EQ(well.wait(), 0) << well.out() << well.err();
    EXPECT_THAT(well.out(), AllOf(HasSubstr("nothing learned yet"), Not(HasSubstr("FAIL"))));
    EXPECT_NE(access(mState.c_str(), F_OK), 0) << "doctor has changed something";

    ASSERT_EQ(mkdir(mState.c_str(), 0700), 0);
    std::ofstream(mState + "/orvo.db") << std::string(9000, 'x');
    std::ofstream(mState + "/properties") << "a=b\n" << '\0';
    std::ofstream(mState + "/history.jsonl") << "{\"cut";
    Program ill(host("doctor"));
    EXPECT_EQ(ill.wait(), 3);
    EXPECT_THAT(ill.out(), AllOf(HasSubstr("ok    task list"), HasSubstr("FAIL  store"),
                                 HasSubstr("properties:2: "), HasSubstr("1 lines, cut off")));
}

TEST_F(WatchTest, BadRulesAreTheCallersFault) {
    std::ofstream(mFolder / "rules") << "com.a 1\ncom.b two\n";
    Program watch(host("watch", {"--rules", mFolder / "rules"}));
    EXPECT_EQ(watch.wait(), 2);
    EXPECT_THAT(watch.err(), HasSubstr("rules:2: 'two' is no 32-bit number"));
}

}  // namespace
