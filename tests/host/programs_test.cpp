// The host's programs, with real processes, through the built library.
#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "host/process/process_tree.h"
#include "host/root/device_root.h"
#include "host/state/store_reader.h"
#include "tests/host/program.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

constexpr double kFirstLookMs = 200;
constexpr int kGenerations = 200;

// As a program does that detaches itself, but over and over: of each process a look
// may see neither the parent, which has ended, nor the child, which was not there yet.
TEST(ProcessTreeTest, LaunchThatGoesOnInAChildAllTheTimeHasNotEnded) {
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) GTEST_SKIP() << "an emulator keeps orphans";
    host::ProcessTree tree;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const auto isRunning = [&] {
        char none = 0;
        return read(ends[0], &none, 1) < 0;
    };
    if (fork() == 0) {
        for (int generation = 0; generation < kGenerations; ++generation)
            if (fork() != 0) _exit(0);
        _exit(0);
    }
    close(ends[1]);
    while (isRunning()) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        tree.update();
        ASSERT_TRUE(!tree.processes().empty() || !isRunning());
    }
    while (waitpid(-1, nullptr, 0) > 0) {
    }
}

double middleOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

class LearnTest : public HostTest {
protected:
    Words learnSample(Words options, const Words& sampleOptions) const {
        options.insert(options.begin(), {"learn", mPackage});
        const bool hasWindow = std::count(options.begin(), options.end(), "--window") > 0;
        if (!hasWindow) options.insert(options.end(), {"--window", "short"});
        options.insert(options.end(), {"--", ORVO_SAMPLE_APP});
        // Settles far from the window's end, so that a busy machine may be late.
        const bool hasSteps = std::count(sampleOptions.begin(), sampleOptions.end(), "--steps") > 0;
        if (!hasSteps) options.insert(options.end(), {"--steps", "5"});
        options.insert(options.end(), sampleOptions.begin(), sampleOptions.end());
        return options;
    }

    // The settling times that the sample app told, one a launch.
    std::vector<double> truthMs() const {
        std::istringstream lines(contentOf(mTruth));
        return {std::istream_iterator<double>(lines), {}};
    }

    const std::string mTruth = mFolder / "truth";
};

TEST_F(LearnTest, WholeRunLearnsTheTrueSettlingTimeAndLeavesNoProcess) {
    ASSERT_EQ(host(learnSample(
                  {"--json", "--dump", "-v", "--look-after", "0"},
                  {"--truth", mTruth, "--drop-kb", "8192", "--children", "1", "--detached"})),
              0)
        << mErr;
    EXPECT_EQ(processesNamed(mPackage), 0);
    const json learned = json::parse(mOut);  // and so no log line among it
    EXPECT_THAT(mErr, HasSubstr("Learned Launch Endpoint for " + mPackage));
    const double finalMs = learned["final_endpoint_ms"];
    const std::vector<double> truth = truthMs();
    ASSERT_EQ(learned["launches"].size(), truth.size());
    double meanMs = 0;
    std::vector<double> endpointLateMs;
    std::vector<double> sinceStartLateMs;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const json& launch = learned["launches"][i];
        const double endpointMs = launch["endpoint_ms"];
        meanMs += endpointMs / 5;
        endpointLateMs.push_back(endpointMs + kFirstLookMs - truth[i]);
        sinceStartLateMs.push_back(launch["since_start_ms"].get<double>() - truth[i]);
    }
    EXPECT_DOUBLE_EQ(finalMs, meanMs);
    // It counts periods, which a busy machine stretches; that may keep two launches waiting.
    EXPECT_NEAR(middleOf(endpointLateMs), 0, 180) << mOut << contentOf(mTruth);
    EXPECT_NEAR(middleOf(sinceStartLateMs), 0, 100) << mOut << contentOf(mTruth);
    EXPECT_THAT(contentOf(mState + "/dumps/" + mPackage + "_vmrss.csv"), HasSubstr("VMRSS"));

    ASSERT_EQ(host({"show", "--json"}), 0) << mErr;
    const json shown = json::parse(mOut)["packages"].at(0);
    EXPECT_EQ(shown["final_endpoint_ms"], finalMs);
    EXPECT_EQ(shown["since_start_ms"], learned["since_start_ms"]);
    EXPECT_EQ(host({"show", "--csv"}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr(mPackage + ",5,"));

    EXPECT_EQ(host(learnSample({}, {})), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("already learned"));
    EXPECT_THAT(mErr, HasSubstr("orvo-host erase " + mPackage + " --state " + mState));
    EXPECT_EQ(std::count(mErr.begin(), mErr.end(), '\n'), 1) << "the library's last line came too";
    EXPECT_EQ(host({"erase", mPackage}), 0) << mErr;
    EXPECT_THAT(contentOf(mState + "/history.jsonl"), HasSubstr("\"erased\""));
    EXPECT_EQ(host({"show", mPackage}), 1);
    EXPECT_EQ(host({"erase", mPackage}), 1);

    const Words again{"--launches", "1", "--dump", "--look-after", "0", "--label", "v2"};
    EXPECT_EQ(host(learnSample(again, {})), 0) << mErr;
    EXPECT_EQ(host({"explain", mPackage, "--json"}), 0) << mErr;
    EXPECT_EQ(json::parse(mOut)["spread"]["launches"], 1) << "the erased five are apart";
    EXPECT_EQ(host({"explain", mPackage, "--json", "--generation", "1"}), 0) << mErr;
    EXPECT_EQ(json::parse(mOut)["spread"]["launches"], 5);
    EXPECT_EQ(json::parse(mOut)["spread"]["stored_mean_ms"], nullptr) << "is that of v2";
}

// As kill -9 leaves it: begun, with nothing erased yet.
TEST_F(LearnTest, GenerationThatWasCutShortIsBegunByTheNextThatHasThePackage) {
    const Words once{"--launches", "1", "--dump", "--look-after", "0", "--label", "v1"};
    EXPECT_EQ(host(learnSample(once, {})), 0) << mErr;
    std::ofstream(mState + "/generations.jsonl", std::ios::app)
        << R"({"schema_version":1,"package":")" << mPackage
        << R"(","generation":2,"label":"v2","erasing":true})" << '\n';
    EXPECT_EQ(host({"show", "--json"}), 0) << mErr;
    EXPECT_EQ(json::parse(mOut)["packages"].at(0)["label"], "v1");
    EXPECT_EQ(host(learnSample({"--launches", "1", "--dump", "--look-after", "0"}, {})), 0) << mErr;
    EXPECT_EQ(host({"show", "--json"}), 0) << mErr;
    const json shown = json::parse(mOut)["packages"].at(0);
    EXPECT_EQ(shown["label"], "v2");
    EXPECT_EQ(shown["launch_events"], 1);
    EXPECT_EQ(shown["launches_measured"], 1);
    EXPECT_TRUE(std::filesystem::exists(mState + "/dumps/" + mPackage + "_vmrss.1.csv"));
}

// As long again behind the window as the library looked; the launch settles there.
TEST_F(LearnTest, GrowthBehindTheWindowIsSeenDoubtedAndAFailureOnlyWhereThatIsAskedFor) {
    // A rest fills most of the window, also of one that a busy machine stretches.
    const Words grows{"--steps", "4", "--step-ms", "100", "--rest-ms", "1200"};
    const Words once{"--launches", "1", "--json", "--strict", "--dump"};
    EXPECT_EQ(host(learnSample(once, grows)), 4) << mOut << mErr;
    const json launch = json::parse(mOut)["launches"].at(0);
    EXPECT_EQ(launch["doubts"], json({"at_rest"})) << mOut;
    EXPECT_GT(launch["second_opinion_ms"], 1000) << mOut;
    EXPECT_THAT(mErr, HasSubstr(", and learn it anew with --window extended"));
    ASSERT_EQ(host({"explain", mPackage, "--json"}), 0) << mErr;
    const json explained = json::parse(mOut)["launch"];
    EXPECT_EQ(explained["doubts"], launch["doubts"]) << "two words about one launch";
    EXPECT_EQ(explained["since_start_ms"], launch["since_start_ms"]);
    EXPECT_EQ(host(learnSample({"--launches", "1", "--look-after", "0"}, grows)), 0) << mErr;
}

TEST_F(LearnTest, WhatAScriptStartsIsLearnedUnderThePackage) {
    const std::string script = mFolder / "script";
    const std::string app = mFolder / "app";  // whose name no other test's processes show
    fs::create_symlink(ORVO_SAMPLE_APP, app);
    int launches = 0;
    std::string window;
    for (const char* line : {"exec \"$APP\" --steps 5", "\"$APP\" --steps 5; true"}) {
        std::ofstream(script) << "#!/bin/sh\n" << line << '\n';
        ASSERT_EQ(chmod(script.c_str(), 0700), 0);
        ASSERT_EQ(host({"learn", mPackage, "--launches", "1", "--look-after", "0", "--json",
                        "--dump", "--", script},
                       {"APP=" + app}),
                  0)
            << line << mErr;
        const json learned = json::parse(mOut);
        EXPECT_EQ(learned["followed_name"], app);
        EXPECT_EQ(learned["doubts"], json::array()) << mOut;
        if (launches == 0) window = learned["window"];
        EXPECT_EQ(learned["window"], window) << "the first one's window stays";
        EXPECT_EQ(learned["probe"].is_null(), launches == 1);
        EXPECT_THAT(mErr, HasSubstr("COMMAND shows the name '" + app + "'"));
        host::StoreReader store(mState + "/orvo.db");
        ASSERT_EQ(store.packages().size(), 1U);
        EXPECT_EQ(store.package(mPackage).launchEndpointsMs.size(), ++launches);
        EXPECT_EQ(processesNamed(app), 0);
    }
    EXPECT_EQ(host({"replay", mPackage}), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr("2 of 2 replayed launches are equal"));
    const std::string history = contentOf(mState + "/history.jsonl");
    EXPECT_EQ(std::count(history.begin(), history.end(), '\n'), 2) << history;
}

TEST_F(LearnTest, ChildThatGrowsInPlaceOfItsParentIsNamedAndLearnedByItsName) {
    const Words command{"--", "timeout", "60", ORVO_SAMPLE_APP};
    Words words{"learn", mPackage, "--launches", "1", "--window", "short", "--quiet"};
    words.insert(words.end(), command.begin(), command.end());
    EXPECT_EQ(host(words), 1);
    const std::string follow = "--follow '" ORVO_SAMPLE_APP "'";
    EXPECT_THAT(mErr, HasSubstr(follow)) << mOut;
    words.insert(words.begin() + 2, {"--follow", ORVO_SAMPLE_APP});
    EXPECT_EQ(host(words), 0) << mErr;
    EXPECT_THAT(mOut, HasSubstr(mPackage + ": not learned, 1 of 5 launches stored, 4 more"));
}

TEST_F(LearnTest, CommandThatLeavesBeforeItIsFoundExitedEarly) {
    EXPECT_EQ(host(learnSample({"--launches", "1", "--json", "--log-level", "0"},
                               {"--exit-after-ms", "20"})),
              1)
        << mErr;
    EXPECT_THAT(mOut, AllOf(HasSubstr(R"("outcome":"exited early","since_start_ms":null,)"
                                      R"("doubts":null,)"),
                            HasSubstr(R"("learned":false,"final_endpoint_ms":null,)")));
    EXPECT_THAT(contentOf(mState + "/orvo.log"), Not(HasSubstr(" D TAVO")));
}

TEST_F(LearnTest, ChildThatOutlivesItsParentIsEndedToo) {
    int isSubreaper = 0;
    if (prctl(PR_GET_CHILD_SUBREAPER, &isSubreaper) != 0) {
        GTEST_SKIP() << "an emulator keeps orphans from the host";
    }
    EXPECT_EQ(host(learnSample({"--launches", "1"},
                               {"--exit-after-ms", "0", "--children", "1", "--detached"})),
              1)
        << mErr;
    // The library finds the child by the name it has of its parent, or on a loaded machine
    // the parent itself, still alive 200 ms after the launch.
    EXPECT_THAT(mOut + mErr,
                AnyOf(HasSubstr("undecided"), HasSubstr("ended while COMMAND went on")));
    EXPECT_EQ(processesNamed(mPackage), 0);
}

TEST_F(LearnTest, InterruptedRunEndsChildrenAndKeepsWhatWasStored) {
    // The longer window leaves a loaded machine time to send the signal within it.
    Program program(hostWords(
        learnSample({"--window", "extended", "--look-after", "0"},
                    {"--truth", mTruth, "--children", "2", "--detached", "--ignore-term"})));
    ASSERT_TRUE(eventually([&] { return truthMs().size() == 2; }));
    for (const Words& words : {Words{"erase", mPackage}, learnSample({}, {})}) {
        EXPECT_EQ(host(words), 3);
        EXPECT_THAT(mErr, HasSubstr("process " + std::to_string(program.pid()) + " ("));
    }
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 130) << program.err();
    EXPECT_EQ(processesNamed(mPackage), 0);
    EXPECT_THAT(contentOf(mState + "/orvo.log"), AllOf(HasSubstr("Abort"), HasSubstr("DeInit")));

    const host::StoredPackage stored = host::StoreReader(mState + "/orvo.db").package(mPackage);
    EXPECT_EQ(stored.launchEvents, 2);
    EXPECT_EQ(stored.launchEndpointsMs.size(), 1U);
}

TEST_F(LearnTest, CommandGetsThePersonsInputEnvironmentAndUmask) {
    const std::string script = "umask 027; echo word | ORVO_LAUNCH_NS=old \"$0\" \"$@\"";
    Words words{"/bin/sh", "-c", script};
    for (const std::string& word : hostWords({"learn", mPackage, "--stdin", "--launches", "1", "--",
                                              "/bin/sh", "-c", "cat; umask; env"})) {
        words.push_back(word);
    }
    Program program(words);
    EXPECT_EQ(program.wait(), 1) << program.err();
    const std::string told = contentOf(mState + "/command.log");
    EXPECT_THAT(told, testing::StartsWith("word\n0027\n"));
    EXPECT_THAT(told, Not(AnyOf(HasSubstr("TAVO_"), HasSubstr("ORVO_DEVICE"), HasSubstr("=old"))));
}

TEST_F(LearnTest, IgnoredHangUpGoesByAndAKilledHostLeavesNoProcess) {
    Words children{"--truth", mTruth, "--children", "2", "--ignore-term"};
    if (host::ownProcessesFault().empty()) children.emplace_back("--detached");
    Words words = hostWords(learnSample({"--look-after", "0"}, children));
    words.insert(words.begin(), {"/bin/sh", "-c", "trap '' HUP; exec setsid \"$0\" \"$@\""});
    Program program(words);
    ASSERT_TRUE(eventually([&] { return !truthMs().empty(); }));
    kill(-program.pid(), SIGHUP);  // as a terminal that closes does
    EXPECT_TRUE(eventually([&] { return truthMs().size() > 1; }));
    program.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return processesNamed(mPackage) == 0; }));
}

TEST_F(LearnTest, CommandsThatCannotRunHaveTheShellsCodesAndLeaveNoLaunch) {
    const std::string script = mFolder / "script";
    std::ofstream(script) << "#!/nonexistent/interpreter\n";
    EXPECT_EQ(host({"learn", "p", "--", "no-such-command-of-any"}), 127);
    EXPECT_EQ(host({"learn", "p", "--", script}), 126);
    EXPECT_THAT(mErr, HasSubstr("chmod"));
    EXPECT_EQ(host({"learn", "p", "--", "/"}), 126);
    for (const char* verb : {"show", "erase", "explain", "plot", "replay"}) {
        EXPECT_EQ(host({verb, "p"}), 2);
        EXPECT_THAT(mErr, HasSubstr("no state folder"));
    }
    ASSERT_EQ(chmod(script.c_str(), 0700), 0);
    EXPECT_EQ(host({"learn", "p", "--", script}), 126);
    EXPECT_THAT(mErr, HasSubstr("interpreter"));
}

TEST_F(LearnTest, MeasuringTwoCommandsComparesThemAndTouchesNothingThatIsLearned) {
    const std::string file = mFolder / "r.json";
    const Words measure{"measure", mPackage, "--window", "short", "--look-after", "0", "-o", file};
    Words words = measure;
    const std::string newer = std::string(ORVO_SAMPLE_APP) + " --steps 5 --truth '" + mTruth + '\'';
    words.insert(words.end(), {"--runs", "2", "--fail-if-slower", "5", "--json", "--against", newer,
                               "--", ORVO_SAMPLE_APP, "--steps", "3"});
    EXPECT_EQ(host(words), 1) << mErr;
    EXPECT_THAT(mErr, HasSubstr("too few runs for --fail-if-slower"));
    const std::string results = mOut.substr(0, mOut.find('\n') + 1);
    EXPECT_EQ(contentOf(file), results);
    const json both = json::parse(results)["measurements"];
    ASSERT_EQ(both.size(), 2U);
    const std::vector<double> truth = truthMs();
    ASSERT_EQ(truth.size(), 2U) << "each run once, and no probing launch";
    double differenceMs = 0;
    double leastErrorMs = kFirstLookMs;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const json launches[] = {both[0]["launches"][i], both[1]["launches"][i]};
        EXPECT_EQ(launches[0]["run"], i + 1);
        EXPECT_EQ(launches[1]["run"], i + 1);
        const double sinceStartMs = launches[1]["since_start_ms"];
        differenceMs += (sinceStartMs - launches[0]["since_start_ms"].get<double>()) / 2;
        leastErrorMs = std::min(leastErrorMs, std::abs(sinceStartMs - truth[i]));
    }
    EXPECT_LT(leastErrorMs, 100) << "a busy machine may keep one launch's samples waiting";
    EXPECT_EQ(json::parse(mOut.substr(results.size()))["difference_ms"], differenceMs);
    for (const char* const name : {"orvo.db", "history.jsonl", "generations.jsonl"})
        EXPECT_FALSE(fs::exists(fs::path(mState) / name)) << name;
    EXPECT_EQ(processesNamed(mPackage), 0);

    // The second run's --prepare finds what the first one's has left.
    words = measure;
    words.insert(words.end(),
                 {"--runs", "2", "--prepare", "mkdir " + (mFolder / "once"), "--cleanup",
                  "echo >> " + (mFolder / "cleaned"), "--quiet", "--", ORVO_SAMPLE_APP});
    EXPECT_EQ(host(words), 1);
    EXPECT_THAT(mErr, HasSubstr("--prepare failed, 1 time, last with code 1"));
    EXPECT_EQ(contentOf(mFolder / "cleaned"), "\n");
    EXPECT_EQ(json::parse(contentOf(file))["measurements"][0]["launches"].size(), 1U);

    EXPECT_EQ(host({"measure", "p", "-o", mFolder / "no/r.json", "--", "true"}), 3);
    EXPECT_THAT(mErr, AllOf(HasSubstr("no/r.json: No such file"), Not(HasSubstr("run 1"))));
}

TEST_F(LearnTest, InterruptedMeasuringTellsAndKeepsWhatThereIs) {
    const std::string file = mFolder / "r.json";
    const std::string waiting = mFolder / "waiting";
    const std::string prepare = "mkdir " + (mFolder / "probed") + " || mkdir " +
                                (mFolder / "first") + " || { >" + waiting + "; sleep 60; }";
    Program program(hostWords({"measure", mPackage, "--look-after", "0", "--prepare", prepare, "-o",
                               file, "--", ORVO_SAMPLE_APP}));
    ASSERT_TRUE(eventually([&] { return fs::exists(waiting); })) << program.err();
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 130) << program.err();
    EXPECT_THAT(program.err(), HasSubstr("measuring with the "));
    EXPECT_THAT(program.out(), HasSubstr(", 1 launch\n"));
    EXPECT_EQ(json::parse(contentOf(file))["measurements"][0]["launches"].size(), 1U);
}

// Or the store would be opened as the terminal, and written to.
TEST_F(LearnTest, ClosedStandardStreamsStayClosedToEverythingElse) {
    for (const char* words : {" show >&-", " --help >&-", " learn --help >/dev/full"})
        EXPECT_EQ(Program({"/bin/sh", "-c", ORVO_HOST + std::string(words)}).wait(), 3) << words;
    Program beside({"/bin/sh", "-c",
                    std::string(ORVO_HOST) + " learn p --launches 1 --window short --state " +
                        mState + " -- sleep 1 2>&-"});
    EXPECT_EQ(beside.wait(), 1);
    EXPECT_THAT(beside.out(), HasSubstr("p: not learned"));
}

TEST_F(LearnTest, StoreWhoseMakingWasCutShortHoldsNothing) {
    fs::create_directory(mState);
    std::ofstream(mState + "/orvo.db").flush();
    EXPECT_EQ(host({"show", "p"}), 1) << mErr;
    EXPECT_EQ(host({"show"}), 0) << mErr;
}

TEST_F(LearnTest, DeviceRootHasTheTwoPathsAndPassesCodesOn) {
    Program inside(
        {ORVO_DEVICE_ROOT_PROGRAM, "--state", mState, "--", "sh", "-c",
         "echo 1 > /dev/cpuset/top-app/tasks && echo x > /data/vendor/lm/mark && exit 7"});
    EXPECT_EQ(inside.wait(), 7) << inside.err();
    EXPECT_EQ(contentOf(mState + "/dumps/mark"), "x\n");

    // A host inside stays inside, and leaves no task of its launch in the list.
    const std::string script = std::string(ORVO_HOST) + " learn " + mPackage +
                               " --launches 1 --window short --state " + mState + " -- " +
                               ORVO_SAMPLE_APP + " --steps 5; cat /dev/cpuset/top-app/tasks";
    Program nested({ORVO_DEVICE_ROOT_PROGRAM, "--", "sh", "-c", script});
    EXPECT_EQ(nested.wait(), 0) << nested.err();
    EXPECT_THAT(nested.out(), AllOf(HasSubstr("1 of 5"), testing::EndsWith(")\n")));

    EXPECT_EQ(host(learnSample({}, {}), {"PATH=/nonexistent"}), 3);
    EXPECT_THAT(mErr, HasSubstr("apt-get install bubblewrap"));
}

}  // namespace
