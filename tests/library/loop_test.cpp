// Whole launches through the learning loop: real processes, virtual time.
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include "store/orvo_dblayer.h"
#include "tests/library/learner_test.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"

namespace {

using device::Child;
using testing::ElementsAre;
using testing::SizeIs;

constexpr unsigned kPeriodUs = 30'000;

class LoopTest : public LearnerTest {
protected:
    LoopTest() {
        OrvoDBlayer::mOrvoDB.Init();
        framework().takeCalls();
        mPeer.dumpEnabled = true;
        // From before the launch is taken: without effect.
        mPeer.stopRequested = true;
        mPeer.launchEndpoint = 990;
        device::setTasks("");
    }
    ~LoopTest() override {
        OrvoDBlayer::mOrvoDB.DeInit();
        unlink(device::kTasksPath);
        unlink(device::dumpPath(mApp).c_str());
    }

    // Runs the learning loop for one launch. `mOnSample` is called before each
    // sample but the first, with its index; `mOnScan` before each task scan,
    // with its number.
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
        EXPECT_FALSE(mPeer.launchPending);
        virtual_time::onSleep = nullptr;
    }
    static void showOnly(const Child& child) { device::setTasks(std::to_string(child.pid())); }
    // The launched process, already in the task list.
    Child shownApp() const {
        Child child = Child::named(mApp);
        showOnly(child);
        return child;
    }

    std::string mApp = "app." + std::to_string(getpid() % 100000);
    std::function<void(int)> mOnScan;
    std::function<void(int)> mOnSample;
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
    EXPECT_THAT(framework().tables["OrvoLearning"],
                ElementsAre(testing::Pair(mApp, ElementsAre(800))));
}

TEST_F(LoopTest, SampleBudgetFollowsTheLaunchMessage) {
    const Child child = shownApp();
    const std::int32_t cases[][3] = {
        {1, 0, 34}, {1, 1, 100}, {1, 2, 100}, {1, 3, 34}, {-2, 2, 100}};
    for (const auto& [type, subType, budget] : cases) {
        SCOPED_TRACE(std::to_string(type) + "." + std::to_string(subType));
        virtual_time::reset();
        LogCapture log(3);
        learn(type, subType);
        EXPECT_THAT(mPeer.vmRss, SizeIs(static_cast<std::size_t>(budget)));
        EXPECT_EQ(virtual_time::sleepsUs.size(), static_cast<std::size_t>(budget) + 1);
        EXPECT_EQ(virtual_time::sleepsUs.back(), kPeriodUs);
        EXPECT_EQ(log.count("vmRssBias=0, streak=5\n"), 1);
        EXPECT_EQ(log.count("Settling Duration = 15100"), 1);
    }
}

TEST_F(LoopTest, LongLaunchIsEvaluatedEvery167SamplesUpToItsBudget) {
    const Child child = shownApp();  // never changes: never decided
    LogCapture log(3);
    int dumpLines = 0;
    int lockedEvaluations = 0;
    log.onLine = [&](const LogLine& line) {
        if (line.function == "exportToFile") ++dumpLines;
        if (line.text != "vmRssBias=0, streak=10\n") return;
        std::thread([&] { lockedEvaluations += mPeer.isDataLocked() ? 1 : 0; }).join();
    };
    learn(2, 0);
    for (const char* sample : {"166", "333", "1836"})
        EXPECT_EQ(log.count("Evaluating for datapoint " + std::string(sample) + "\n"), 1);
    EXPECT_EQ(log.count("vmRssBias=0, streak=10\n"), 12);  // and once at the end
#ifdef ORVO_HARDENED_LOCKING
    EXPECT_EQ(lockedEvaluations, 12);
#else
    EXPECT_EQ(lockedEvaluations, 11);  // the last takes no lock, by contract
#endif
    EXPECT_THAT(mPeer.vmRss, SizeIs(2000));
    // Nothing is stored, but the stored samples are still asked for.
    EXPECT_EQ(framework().takeCalls(), "queryAll OrvoLearning " + mApp + " 4");
    // Each evaluation was dumped, and its intermediates cleared before the next.
    EXPECT_EQ(dumpLines, 2 * 12);
    EXPECT_EQ(log.count("elemAges.size"), 0);
}

TEST_F(LoopTest, ExactlyFiveStoredEndpointsMakeTheFinalOne) {
    const Child child = shownApp();
    const auto callsWith = [&](const std::vector<std::int32_t>& stored) {
        framework().tables.clear();
        for (const std::int32_t endpoint : stored)
            framework().tables["OrvoLearning"].insert({mApp, {endpoint}});
        LogCapture log(4);
        learn(1, 0);
        return framework().takeCalls();
    };
    const std::string tail = " " + mApp + " ";
    const std::string query = "queryAll OrvoLearning" + tail + "4";
    EXPECT_EQ(callsWith({10, 20, 30, 40, 52}),
              query + "; insert OrvoEP" + tail + "4 30; query OrvoStatus" + tail +
                  "8; update OrvoStatus" + tail + "8 1 0; delete OrvoLearning" + tail + "0");
    EXPECT_EQ(callsWith({1, 2, 3, 4, 5, 6}), query);
}

TEST_F(LoopTest, HuntGivesUpAfterAMinuteOfRetriesOrAStopAndStoresNothing) {
    mLearner.setPidOnMap(mApp, 4711);  // which the failure replaces
    LogCapture log;
    learn(1, 0);
    // One look before the clock starts, one for each second up to 61; of five scans each.
    EXPECT_EQ(log.count("Failed to get pid for app_name " + mApp), 62);
    EXPECT_EQ(virtual_time::sleepsUs, std::vector<unsigned>(310, 200'000));
    EXPECT_EQ(framework().takeCalls() + device::contentOf(device::dumpPath(mApp)), "");
    EXPECT_EQ(mLearner.getPidFromMap(mApp), -1);
    mOnScan = [&](int scan) {
        if (scan == 6) mPeer.stopRequested = true;
    };
    learn(1, 0);
    EXPECT_EQ(log.count("Failed to get pid"), 62 + 2);
    EXPECT_EQ(log.count("Giving up on hunt"), 2);
}

TEST_F(LoopTest, StopAndDeathAbortTheLaunchWhichLeavesAMarkerAndNothingInTheStore) {
    const auto abortsBy = [&](unsigned level, std::size_t samples, auto abort) {
        Child child = shownApp();
        mOnSample = [&](int sample) {
            if (sample == 10) abort(child);
        };
        LogCapture log(level);
        learn(1, 0);
        EXPECT_EQ(log.count("Abort Detected for " + mApp + "!"), 1);
        EXPECT_EQ(log.count("Failed to read rss\n"), samples == 10 ? 1 : 0);
        EXPECT_THAT(mPeer.vmRss, SizeIs(samples));
        EXPECT_EQ(log.count("OmmScore"), level == 4 ? 11 : 0);  // the score is read once more
        EXPECT_EQ(device::contentOf(device::dumpPath(mApp)), "\nAborted Before analysis 0\n");
        EXPECT_EQ(framework().takeCalls(), "");
        unlink(device::dumpPath(mApp).c_str());
    };
    abortsBy(3, 11, [&](Child&) { mPeer.stopRequested = true; });
    abortsBy(4, 10, [](Child& child) { child.die(); });
}

TEST_F(LoopTest, ProcessThatDiesBetweenTheScanAndTheFirstSampleLeavesNothing) {
    Child child = shownApp();
    LogCapture log(3);
    log.onLine = [&](const LogLine& line) {
        if (line.text.find("VmRSS filePath") == 0) child.die();  // comes before the opening
    };
    learn(1, 0);
    EXPECT_EQ(log.count("Launch Endpoint could not determined"), 1);
    EXPECT_THAT(mPeer.vmRss, SizeIs(0));
}

TEST_F(LoopTest, ExceptionEndsTheLaunchLeavesItsFilesOpenAndTheNextOneRuns) {
    const Child child = shownApp();
    const std::ptrdiff_t before = device::openDescriptors();
    framework().onMultiply = [] { throw std::runtime_error("boom"); };
    LogCapture log;
    learn(1, 0);
    EXPECT_EQ(log.take(), "exception boom\n");
    EXPECT_EQ(device::openDescriptors(), before + 2);
    EXPECT_EQ(framework().takeCalls(), "");
    framework().onMultiply = nullptr;
    learn(1, 0);
    EXPECT_THAT(mPeer.vmRss, SizeIs(34));
    EXPECT_EQ(device::openDescriptors(), before + 2);  // what an orderly launch opens it closes
}

// A long launch and a short one, at levels below each gate, with each kind of
// exception.
TEST_F(LoopTest, FailedAllocationAnywhereInALaunchIsSurvived) {
    const Child child = shownApp();
    int exceptions = 0;
    const auto survives = [&](int type, unsigned level, int at,
                              const std::function<void()>& fault) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        LogCapture log(level);
        framework().tables["OrvoLearning"] = {
            {mApp, {100}}, {mApp, {100}}, {mApp, {100}}, {mApp, {100}}};
        peer.dumpEnabled = true;
        peer.maxSamples = 168;
        peer.launch(mApp, type, -1);
        int sleeps = 0;
        virtual_time::onSleep = [&](unsigned) {
            peer.endRunning();
            learner.insertFDCount(++sleeps < 12 ? sleeps : 1000);
        };
        const bool happened = allocation_faults::happensAt(at, fault, [&] {
            learner.insertFDCount(1);
            learner.statsCollector();
        });
        EXPECT_FALSE(peer.isDataLocked()) << at;
        exceptions += log.count("xception");
        return happened;
    };
    for (int at = 0; survives(2, 2, at, [] { throw std::bad_alloc(); });)
        ++at;
    for (int at = 0; survives(1, 3, at, [] { throw 5; });)
        ++at;
    EXPECT_GT(exceptions, 100);
}

}  // namespace
