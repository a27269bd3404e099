// orvo-host watch, join and doctor as a person runs them.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include "host/process/joined_command.h"
#include "host/state/package_lock.h"
#include "tests/host/elsewhere.h"
#include "tests/host/program.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

class WatchTest : public HostTest {
protected:
    static bool isWatching(const Program& watch) {
        eventually([&] { return watch.err().find('\n') != std::string::npos; });
        return watch.err().find("watching") != std::string::npos;
    }
    static bool hasTold(const Program& watch) {
        return eventually([&] { return watch.out().find('\n') != std::string::npos; });
    }
    bool hasLogged(const std::string& text) const {
        const std::string log = mState + "/orvo.log";
        return eventually([&] { return contentOf(log).find(text) != std::string::npos; });
    }
};

TEST_F(WatchTest, LaunchesFromOutsideAreLearnedByTheirRulesUntilTermShutsDownInOrder) {
    EXPECT_EQ(host({"join", mPackage, "--", "/bin/true"}), 1);
    EXPECT_THAT(mErr, HasSubstr("start orvo-host watch"));
    std::ofstream(mFolder / "rules") << mPackage << ".* 1 2\n";
    Program watch(hostWords(
        {"watch", "--json", "--dump", "--look-after", "3", "--rules", mFolder / "rules"}));
    ASSERT_TRUE(isWatching(watch)) << watch.err();
    EXPECT_EQ(host({"watch"}), 3);
    EXPECT_THAT(mErr, HasSubstr("watches this state folder already"));
    EXPECT_EQ(host({"join", "--", "/bin/sh", "-c", "exit 7"}), 7);

    // The launch is in a child of what joined. It grows as the window begins, wherever a
    // busy machine lets that begin, and once more behind its end.
    const std::string gate = mFolder / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    std::fstream opened(gate);
    const std::string launch =
        "(exec -a " + mPackage + " /bin/bash -c 'exec < " + gate +
        "; read; printf -v a %04000000d; read; printf -v b %08000000d; read')";
    Program app(hostWords(
        {"join", "--", "/bin/bash", "-c", "trap 'kill $!' TERM; " + launch + " & wait; wait"}));
    ASSERT_TRUE(hasLogged("Starting collection"));
    opened << std::endl;
    ASSERT_TRUE(hasLogged("Learned Launch Endpoint for " + mPackage));
    opened << std::endl;
    ASSERT_TRUE(hasTold(watch)) << watch.err();
    EXPECT_EQ(host({"watch", "--cost"}), 0) << mErr;
    EXPECT_THAT(mOut, ContainsRegex("process [0-9]+: [0-9.]+ % of a core"));

    host::PackageLocks locks(mState + "/packages.lock");
    ASSERT_TRUE(locks.take(mPackage + ".learned"));
    Program taken(hostWords({"join", mPackage + ".learned", "--", "/bin/sleep", "60"}));
    EXPECT_TRUE(
        eventually([&] { return watch.out().find("in use elsewhere") != std::string::npos; }));
    EXPECT_THAT(watch.err(), HasSubstr("process " + std::to_string(getpid())));
    taken.signal(SIGTERM);
    taken.wait();

    Program last(hostWords({"join", mPackage + ".last", "--", ORVO_SAMPLE_APP}));
    ASSERT_TRUE(hasLogged("Start Learning appName:" + mPackage + ".last"));
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 0);
    app.signal(SIGTERM);
    app.wait();
    last.signal(SIGTERM);
    EXPECT_EQ(last.wait(), 128 + SIGTERM);
    EXPECT_EQ(processesNamed(mPackage), 0);
    EXPECT_EQ(watch.out(), contentOf(mState + "/history.jsonl"));
    EXPECT_EQ(host({"watch", "--cost"}), 1);
    EXPECT_EQ(host({"explain", mPackage, "--json"}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr(R"("doubts":["at_rest"])")) << "the dump alone has it growing";

    const std::string kind = R"(","launch_type":1,"launch_subtype":)";
    EXPECT_THAT(
        watch.out(),
        AllOf(ContainsRegex(mPackage + kind + R"(0,"outcome":"stored","endpoint_ms":[1-9][0-9]*,)" +
                            R"("final_endpoint_ms":null,"since_start_ms":[1-9][0-9]*,)" +
                            R"("doubts":\["at_rest"\],"second_opinion_ms":[1-9][0-9][0-9][0-9],)"),
              HasSubstr(mPackage + ".last" + kind +
                        R"(2,"outcome":"interrupted","endpoint_ms":null)")));
}

// The exit code of one that joins.
int codeOfJoined(const host::CommandLine& command, const std::string& list, void (*beforeFork)(),
                 void (*inChild)()) {
    return elsewhere([&] {
        alarm(10);  // for a fault leaves it waiting
        pthread_atfork(beforeFork, nullptr, inChild);
        return host::runJoined(command, list);
    });
}

TEST_F(WatchTest, TermThatComesWhileTheCommandIsBeingStartedEndsIt) {
    const std::string list = mFolder / "tasks";
    std::ofstream(list).flush();
    const host::CommandLine command{"/bin/sleep", {"sleep", "60"}};
    const auto term = [] { raise(SIGTERM); };
    EXPECT_EQ(codeOfJoined(command, list, term, nullptr), 128 + SIGTERM) << "to the one that joins";
    EXPECT_EQ(codeOfJoined(command, list, nullptr, term), 128 + SIGTERM) << "to its new child";
}

TEST_F(WatchTest, LaunchesInTheKernelsOwnCpusetAreSeen) {
    Program watch(hostWords({"watch", "--real-cpuset"}));
    if (!isWatching(watch)) GTEST_SKIP() << watch.err();
    Program app(hostWords({"join", mPackage, "--", ORVO_SAMPLE_APP}));
    EXPECT_TRUE(hasTold(watch)) << watch.err();
    EXPECT_THAT(watch.out(), HasSubstr(" ms stored"));
    const auto placeOfApp = [&] {
        return contentOf("/proc/" + std::to_string(app.pid()) + "/cpuset");
    };
    EXPECT_THAT(placeOfApp(), HasSubstr("top-app"));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_THAT(placeOfApp(), testing::Not(HasSubstr("top-app"))) << "the group is still there";
    app.signal(SIGTERM);
    app.wait();
}

TEST_F(WatchTest, DoctorFailsOnWhatIsAmissWithTheRemedy) {
    EXPECT_EQ(host({"doctor"}), 0) << mOut << mErr;
    EXPECT_FALSE(std::filesystem::exists(mState)) << "doctor has changed something";

    std::filesystem::create_directory(mState);
    std::ofstream(mState + "/orvo.db") << std::string(9000, 'x');
    std::ofstream(mState + "/properties") << "a=b\n" << '\0';
    std::ofstream(mState + "/history.jsonl") << "{\"cut";
    EXPECT_EQ(host({"doctor"}), 3);
    EXPECT_THAT(
        mOut, AllOf(HasSubstr("ok    task list"), HasSubstr("chmod 700"), HasSubstr("FAIL  store"),
                    HasSubstr("properties:2: "), HasSubstr("1 lines that are cut off")));
}

}  // namespace
