// Whole launches through the learning loop: real processes, virtual time.
#include <cstdlib>
#include <dirent.h>
#include <gmock/gmock.h>
#include <new>
#include <optional>
#include <thread>
#include <unistd.h>

#include "platform/tavo_log.h"
#include "tests/library/peers.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/joined.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

namespace {

using device::Child;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr unsigned kPeriodUs = 30'000;

class LoopTest : public testing::Test {
protected:
    LoopTest() {
        framework().reset();
        virtual_time::reset();
        OrvoDBlayer::mOrvoDB.Init();
        framework().takeCalls();
        mPeer.dumpEnabled = true;
        mPeer.stopRequested = true;  // from before the launch is taken: has no effect
        device::setTasks("");
    }
    ~LoopTest() override {
        OrvoDBlayer::mOrvoDB.DeInit();
        unlink(device::kTasksPath);
        unlink(device::dumpPath(mApp).c_str());
    }

    /// Runs the learning loop for one launch. `mOnSample` is called before each
    /// sample but the first, with its index; `mOnScan` before each task scan,
    /// with its number.
    void learn(std::int32_t type, std::int32_t subType) {
        int scan = 0;
        int sample = 0;
        mPeer.launch(mApp, type, subType);
        virtual_time::onSleep = [&](unsigned us) {
            mPeer.endRunning();
            if (us != kPeriodUs) {
                if (mOnScan) mOnScan(scan++);
            } else if (mOnSample) {
                mOnSample(++sample);
            }
        };
        EXPECT_EQ(mLearner.statsCollector(), 0);
        virtual_time::onSleep = nullptr;
    }
    void showOnly(const Child& child) { device::setTasks(std::to_string(child.pid()) + "\n"); }
    static std::string errorsOf(const LogCapture& log) {
        std::string errors;
        for (const LogLine& line : log.lines())
            if (line.priority == 6) errors += line.text;
        return errors;
    }

    std::string mApp = "app." + std::to_string(getpid() % 100000);
    std::function<void(int)> mOnScan;
    std::function<void(int)> mOnSample;
    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
};

// The name of a forked copy is that of this program: the package's name here.
class GrowingAppTest : public LoopTest {
protected:
    GrowingAppTest() {
        mApp = device::nameOf(mChild.pid());
        showOnly(mChild);
    }

    Child mChild = Child::growing();
};

TEST_F(GrowingAppTest, EverySampleIsReadFreshAndTheEndpointIsWhereTheGrowthEnds) {
    mOnScan = [&](int scan) {
        if (scan == 0) device::setTasks("");
        if (scan == 5) showOnly(mChild);  // at the first scan of the hunt's first retry
        if (scan == 5) virtual_time::advance(700);
    };
    mOnSample = [&](int sample) {
        if (sample <= 20) mChild.grow(8);
    };
    LogCapture log(3);
    learn(1, 0);
    ASSERT_THAT(mPeer.vmRss, SizeIs(34));
    for (std::size_t i = 1; i <= 20; ++i)
        EXPECT_GE(mPeer.vmRss[i], mPeer.vmRss[i - 1] + 8 * 1024) << i;
    EXPECT_THAT(mPeer.oomScore, SizeIs(34));
    EXPECT_EQ(mPeer.epIdx, 20);
    // 20 samples of 30 ms, and the 200.7 ms of the retry cut to whole ones.
    EXPECT_EQ(mPeer.launchEndpoint, 800);
    EXPECT_EQ(log.count("TimeTakenToFind 200.700000 ms"), 1);
    EXPECT_THAT(framework().rowsOf("OrvoLearning", mApp), ElementsAre(ElementsAre(800)));
}

TEST_F(LoopTest, SampleBudgetFollowsTheLaunchMessage) {
    const Child child = Child::named(mApp);
    showOnly(child);
    const std::int32_t cases[][3] = {{1, 0, 34},
                                     {1, 1, 100},
                                     {1, 2, 100},
                                     {1, 3, 34},
                                     {0, 2, 100},
                                     {3, -1, 34},
                                     {-2, -2147483647 - 1, 34}};
    for (const auto& [type, subType, budget] : cases) {
        SCOPED_TRACE(std::to_string(type) + "." + std::to_string(subType));
        virtual_time::reset();
        LogCapture log(3);
        learn(type, subType);
        EXPECT_EQ(log.count("Decided Samples = " + std::to_string(budget) + ". Starting"), 1);
        EXPECT_THAT(mPeer.vmRss, SizeIs(static_cast<std::size_t>(budget)));
        EXPECT_EQ(virtual_time::sleepsUs.size(), static_cast<std::size_t>(budget) + 1);
        EXPECT_EQ(virtual_time::sleepsUs.back(), kPeriodUs);
        EXPECT_EQ(log.count("vmRssBias=0, streak=5\n"), 1);
        EXPECT_EQ(mPeer.settlingDuration, 15100);
    }
}

TEST_F(LoopTest, LongLaunchIsEvaluatedEvery167SamplesUpToItsBudget) {
    const Child child = Child::named(mApp);  // never changes: never decided
    showOnly(child);
    LogCapture log(3);
    int dumpLines = 0;
    int lockedEvaluations = 0;
    log.onLine = [&](const LogLine& line) {
        if (line.function == "exportToFile") ++dumpLines;
        if (line.text != "vmRssBias=0, streak=10\n") return;
        std::thread([&] { lockedEvaluations += mPeer.isDataLocked() ? 1 : 0; }).join();
    };
    learn(2, 0);
    std::vector<int> evaluatedAt;
    for (const std::string& text : log.texts())
        if (text.find("Evaluating for datapoint ") == 0)
            evaluatedAt.push_back(std::stoi(text.substr(25)));
    EXPECT_THAT(evaluatedAt,
                ElementsAre(166, 333, 500, 667, 834, 1001, 1168, 1335, 1502, 1669, 1836));
    EXPECT_EQ(log.count("vmRssBias=0, streak=10\n"), 12);  // and once at the end
#ifdef ORVO_HARDENED_LOCKING
    EXPECT_EQ(lockedEvaluations, 12);
#else
    EXPECT_EQ(lockedEvaluations, 11);  // the last takes no lock, by contract
#endif
    EXPECT_THAT(mPeer.vmRss, SizeIs(2000));
    EXPECT_THAT(mPeer.history, SizeIs(12));
    EXPECT_EQ(log.count("Launch Endpoint could not determined for " + mApp), 1);
    // Nothing is stored, but the stored samples are still asked for.
    EXPECT_EQ(framework().takeCalls(), "queryAll OrvoLearning " + mApp + " 4");
    // Each evaluation was dumped, and its intermediates cleared before the next.
    EXPECT_EQ(dumpLines, 2 * 12);
    EXPECT_EQ(log.count("elemAges.size"), 0);
}

TEST_F(GrowingAppTest, LongLaunchEndsAsSoonAsItIsDecided) {
    mOnSample = [&](int sample) {
        if (sample == 40) mChild.grow(64);
    };
    LogCapture log(3);
    learn(2, 0);
    EXPECT_EQ(log.count("Evaluating for datapoint"), 4);  // three stable comparisons
    EXPECT_THAT(mPeer.vmRss, SizeIs(668));
    EXPECT_EQ(log.count("vmRssBias"), 4);  // not evaluated once more
    EXPECT_EQ(mPeer.launchEndpoint, 1200);
}

TEST_F(LoopTest, ExactlyFiveStoredEndpointsMakeTheFinalOne) {
    const std::string tail = " " + mApp + " ";
    const std::string query = "queryAll OrvoLearning" + tail + "4";
    const std::string conclusion = "; insert OrvoEP" + tail + "4 30; query OrvoStatus" + tail +
                                   "8; update OrvoStatus" + tail + "8 1 0; delete OrvoLearning" +
                                   tail + "0";
    const std::pair<std::vector<std::int32_t>, std::string> cases[] = {
        {{10, 10, 10, 10}, query},
        {{10, 20, 30, 40, 52}, query + conclusion},
        {{1, 2, 3, 4, 5, 6}, query},
    };
    const Child child = Child::named(mApp);
    showOnly(child);
    for (const auto& [stored, calls] : cases) {
        framework().tables.clear();
        for (const std::int32_t endpoint : stored)
            framework().tables["OrvoLearning"].push_back({mApp, {endpoint}});
        LogCapture log(4);
        learn(1, 0);
        EXPECT_EQ(framework().takeCalls(), calls);
        EXPECT_EQ(log.count("Found sample for " + mApp), calls == query ? 0 : 5);
    }
}

TEST_F(LoopTest, HuntGivesUpAfterAMinuteOfRetriesAndStoresNothing) {
    LogCapture log;
    learn(1, 0);
    // One look before the clock starts, one for each second up to 61.
    EXPECT_EQ(log.count("Failed to get pid for app_name " + mApp), 62);
    EXPECT_THAT(virtual_time::sleepsUs, testing::AllOf(SizeIs(5 * 62), Each(200'000U)));
    std::vector<LogLine> lines = log.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2].text, "Aborted or timeout - Giving up on hunt");
    EXPECT_EQ(lines.back().text, "Could not find pid, can not collect vmrss data");
    EXPECT_EQ(framework().takeCalls(), "");
    EXPECT_EQ(device::contentOf(device::dumpPath(mApp)), "");
    EXPECT_EQ(mLearner.getPidFromMap(mApp), -1);
}

TEST_F(LoopTest, StopEndsTheHuntAtItsNextPass) {
    mOnScan = [&](int scan) {
        if (scan == 6) mPeer.requestStop();
    };
    LogCapture log(3);
    learn(1, 0);
    EXPECT_EQ(log.count("getPid in loop for " + mApp), 1);
    EXPECT_EQ(log.count("Giving up on hunt"), 1);
    EXPECT_EQ(log.count("Decided Samples"), 0);
}

TEST_F(LoopTest, AbortedLaunchLeavesAMarkerAndNothingInTheStore) {
    struct {
        const char* what;
        std::function<void(Child&)> abort;
        const char* error;
        std::size_t memorySamples;
    } const cases[] = {
        {"stop", [&](Child&) { mPeer.requestStop(); }, "", 11},
        {"exit", [](Child& child) { child.die(); }, "Failed to read rss\n", 10},
        {"zombie", [](Child& child) { child.die(false); }, "Failed to read rss\n", 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Child child = Child::named(mApp);
        showOnly(child);
        mOnSample = [&](int sample) {
            if (sample == 10) c.abort(child);
        };
        LogCapture log(4);
        learn(1, 0);
        EXPECT_EQ(log.count("Abort Detected for " + mApp + "!"), 1);
        EXPECT_EQ(errorsOf(log), c.error);
        EXPECT_THAT(mPeer.vmRss, SizeIs(c.memorySamples));
        EXPECT_EQ(log.count("OmmScore"), 11);  // the score is read once more
        EXPECT_EQ(device::contentOf(device::dumpPath(mApp)), "\nAborted Before analysis 0\n");
        EXPECT_EQ(framework().takeCalls(), "");
        unlink(device::dumpPath(mApp).c_str());
    }
}

TEST_F(LoopTest, ProcessThatDiesBetweenTheScanAndTheFirstSampleLeavesNothing) {
    const std::pair<const char*, const char*> cases[] = {
        {"tgid is", "Launch Endpoint could not determined"},
        {"Updating pid", "Launch Endpoint could not determined"},
        {"VmRSS filePath", "Launch Endpoint could not determined"},  // comes before the opening
        {"oom_score filePath", "Abort Detected"},
    };
    for (const auto& [lastLine, outcome] : cases) {
        SCOPED_TRACE(lastLine);
        Child child = Child::named(mApp);
        showOnly(child);
        LogCapture log(3);
        log.onLine = [&, mark = lastLine](const LogLine& line) {
            if (line.text.find(mark) == 0) child.die();
        };
        learn(1, 0);
        EXPECT_EQ(log.count(outcome), 1);
        EXPECT_THAT(mPeer.vmRss, SizeIs(0));
        EXPECT_EQ(framework().takeCalls().find("insert"), std::string::npos);
    }
}

TEST_F(LoopTest, PidTakenOverByAnotherProgramYieldsNoSamplesOfThat) {
    Child child = Child::named(mApp);
    showOnly(child);
    const pid_t pid = child.pid();
    std::optional<Child> other;
    mOnSample = [&](int sample) {
        if (sample != 10) return;
        child.die();
        if (std::optional<Child> taken = Child::withPid(pid, "other"))
            other.emplace(std::move(*taken));
    };
    LogCapture log(3);
    learn(1, 0);
    if (!other) GTEST_SKIP() << "choosing a pid takes root";
    EXPECT_EQ(device::nameOf(pid), "other");
    EXPECT_EQ(log.count("Abort Detected for " + mApp + "!"), 1);
    EXPECT_THAT(mPeer.vmRss, SizeIs(10));
    EXPECT_EQ(framework().takeCalls(), "");
}

TEST_F(LoopTest, LogLevelTakesEffectAtOnceAndThePropertyAtTheNextInitialise) {
    const Child child = Child::named(mApp);
    showOnly(child);
    framework().dumpProperty = "true";
    mLearner.Init();
    mOnSample = [&](int sample) {
        if (sample == 10) setTavoLogLevel(4);
        if (sample == 20) setTavoLogLevel(3);
        if (sample == 20) framework().dumpProperty = "false";
    };
    LogCapture log;
    learn(1, 0);
    EXPECT_EQ(log.count("Process total rss"), 10);
    EXPECT_THAT(device::contentOf(device::dumpPath(mApp)), HasSubstr("\nmVmRssEp, "));
    mLearner.Init();
    EXPECT_FALSE(mPeer.dumpEnabled);
}

TEST_F(LoopTest, LaunchLogsItsStepsInOrder) {
    const Child child = Child::named(mApp);
    device::setTasks("");
    mOnScan = [&](int scan) {
        if (scan == 5) showOnly(child);
    };
    const std::string pid = std::to_string(child.pid());
    std::vector<std::string> steps;
    LogCapture log(4);
    learn(1, 0);
    for (const LogLine& line : log.lines())
        if (line.function == "statsCollector") steps.push_back(line.text);
    EXPECT_EQ(
        joined(steps),
        "OrvoLearner Thread Started; Waiting for Launch Event...; Start Learning appName:" + mApp +
            "; Settling Duration = 15100; getPid in loop for " + mApp + "\n; actual pid = " + pid +
            " TimeTakenToFind 200.000000 ms\n; " + "VmRSS filePath = /proc/" + pid +
            "/status opened\n; " + "oom_score filePath = /proc/" + pid + "/oom_score opened\n; " +
            "Decided Samples = 34. Starting collection ...; " +
            "Launch Endpoint could not determined for " + mApp);
    const std::vector<std::string> texts = log.texts();
    const auto at = [&](const std::string& text) {
        return std::find(texts.begin(), texts.end(), text) - texts.begin();
    };
    EXPECT_LT(at(steps[2]), at("clearAll"));  // the launch is taken, then the learner reset
    EXPECT_LT(at("cleared"), at(steps[3]));
    EXPECT_EQ(log.count("cleared"), 2);
    EXPECT_THAT(device::contentOf(device::dumpPath(mApp)), HasSubstr("\nmVmRssEp, "));
}

std::ptrdiff_t openDescriptors() {
    std::ptrdiff_t count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr)
        ++count;
    closedir(folder);
    return count;
}

TEST_F(LoopTest, ExceptionEndsTheLaunchLeavesItsFilesOpenAndTheNextOneRuns) {
    const Child child = Child::named(mApp);
    showOnly(child);
    const std::ptrdiff_t before = openDescriptors();
    framework().onMultiply = [] { throw std::runtime_error("boom"); };
    LogCapture log;
    learn(1, 0);
    EXPECT_EQ(errorsOf(log), "exception boom\n");
    EXPECT_EQ(openDescriptors(), before + 2);
    EXPECT_EQ(framework().takeCalls(), "");
    framework().onMultiply = nullptr;
    learn(1, 0);
    EXPECT_THAT(mPeer.vmRss, SizeIs(34));
    EXPECT_EQ(openDescriptors(), before + 2);  // what an orderly launch opens it closes
}

TEST_F(LoopTest, FailedAllocationAnywhereInALaunchIsSurvived) {
    const Child child = Child::named(mApp);
    showOnly(child);
    LogCapture log;
    bool more = true;
    for (int at = 0; more; ++at) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        peer.dumpEnabled = true;
        peer.launch(mApp, 2, 0);
        int sample = 0;
        virtual_time::onSleep = [&](unsigned us) {
            peer.endRunning();
            if (us == kPeriodUs && ++sample == 170) peer.requestStop();
        };
        more = allocation_faults::happensAt(
            at, [] { throw std::bad_alloc(); }, [&] { learner.statsCollector(); });
        EXPECT_FALSE(peer.isDataLocked()) << at;
    }
    EXPECT_GT(log.count("exception std::bad_alloc"), 50);
}

}  // namespace
