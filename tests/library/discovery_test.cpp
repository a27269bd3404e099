// Finding the launched process among the tasks of the top-app cpuset.
#include <atomic>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "tests/library/peers.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"
#include "tests/support/virtual_time.h"

namespace {

using device::Child;

class DiscoveryTest : public testing::Test {
protected:
    DiscoveryTest() { virtual_time::reset(); }
    ~DiscoveryTest() override { unlink(device::kTasksPath); }

    std::int32_t scan(const std::string& tasks) {
        device::setTasks(tasks);
        return mLearner.getPidExpensive(mApp);
    }
    static std::string text(const Child& child) { return std::to_string(child.pid()) + "\n"; }

    OrvoLearner mLearner;
    std::string mApp = "com.app";
};

TEST_F(DiscoveryTest, OnlyTheExactNameMatchesInTheOrderOfTheTaskList) {
    const Child prefix = Child::named("com.ap");
    const Child service = Child::named("com.app:service");
    const Child first = Child::named("com.app");
    const Child second = Child::named("com.app");
    Child zombie = Child::named("com.app");
    zombie.die(false);
    Child gone = Child::named("com.app");
    const std::string goneTask = text(gone);
    gone.die();
    const std::string misses = "2\n" + text(prefix) + text(service) + text(zombie) + goneTask;
    std::string tenThousand;
    for (int task = 0; task < 10'000; ++task)
        tenThousand += std::to_string(2'000'000'000 + task) + "\n";
    const std::pair<std::string, std::int32_t> cases[] = {
        {"", -1},
        {misses, -1},
        {misses + text(second) + text(first), second.pid()},
        {tenThousand + text(first) + text(second), first.pid()},
        {"7 garbage " + text(first), -1},  // read up to what is no number
        {"99999999999 " + text(first), -1},
        {"0 -5 " + std::to_string(first.pid()), first.pid()},
    };
    LogCapture log;
    for (const auto& [tasks, pid] : cases)
        EXPECT_EQ(scan(tasks), pid) << tasks;
    unlink(device::kTasksPath);
    EXPECT_EQ(mLearner.getPidExpensive(mApp), -1);
    EXPECT_EQ(log.take(), "");
}

TEST_F(DiscoveryTest, ListThatChangesWhileItIsReadYieldsTheProcessOrNothing) {
    const Child child = Child::named("com.app");
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        for (int round = 0; !isOver; ++round)
            device::setTasks(round % 2 == 0 ? "" : std::string(20'000, '\n') + text(child));
    });
    for (int i = 0; i < 300; ++i) {
        const std::int32_t pid = mLearner.getPidExpensive(mApp);
        EXPECT_TRUE(pid == -1 || pid == child.pid()) << pid;
    }
    isOver = true;
    writer.join();
    EXPECT_EQ(scan(text(child)), child.pid());
}

TEST_F(DiscoveryTest, ThreadOfTheProcessYieldsTheProcess) {
    mApp = device::nameOf(getpid());
    LogCapture log(3);
    std::thread thread([&] { EXPECT_EQ(scan(std::to_string(syscall(SYS_gettid))), getpid()); });
    thread.join();
    EXPECT_EQ(log.take(), "tgid is " + std::to_string(getpid()) + "\n");
}

// The first of two processes dies at each point of the scan in turn.
TEST_F(DiscoveryTest, ProcessThatVanishesDuringTheScanIsPassedOver) {
    const Child second = Child::named("com.app");
    int vanishedBeforeStatus = 0;
    bool more = true;
    for (int at = 0; more; ++at) {
        Child first = Child::named("com.app");
        const std::int32_t firstPid = first.pid();
        device::setTasks(text(first) + text(second));
        LogCapture log;
        std::int32_t pid = 0;
        more = allocation_faults::happensAt(
            at, [&] { first.die(); }, [&] { pid = mLearner.getPidExpensive(mApp); });
        EXPECT_TRUE(pid == firstPid || pid == second.pid() || pid == -1) << pid;
        if (log.count("Error openiong is /proc/" + std::to_string(firstPid) + "/status\n") == 0)
            continue;
        EXPECT_EQ(pid, second.pid());
        ++vanishedBeforeStatus;
    }
    EXPECT_GT(vanishedBeforeStatus, 0);
}

TEST_F(DiscoveryTest, LooksFiveTimesAfterASleepEachAndRecordsFailuresToo) {
    const Child child = Child::named("com.app");
    device::setTasks("");
    LogCapture log(3);
    virtual_time::onSleep = [&](unsigned) {
        if (virtual_time::sleepsUs.size() == 5) device::setTasks(text(child));
    };
    EXPECT_EQ(mLearner.getPid(mApp), child.pid());  // found by the fifth
    EXPECT_EQ(mLearner.getPid(mApp), child.pid());  // at once
    EXPECT_THAT(virtual_time::sleepsUs, testing::AllOf(testing::SizeIs(6), testing::Each(200'000)));
    EXPECT_EQ(log.count("Failed"), 0);
    EXPECT_EQ(mLearner.getPidFromMap(mApp), child.pid());
    virtual_time::reset();
    device::setTasks("");
    EXPECT_EQ(mLearner.getPid(mApp), -1);
    EXPECT_EQ(virtual_time::sleepsUs.size(), 5U);
    log.take();
    std::string other = "other";
    EXPECT_EQ(mLearner.getPidFromMap(mApp), -1);  // the failure replaced the pid
    EXPECT_EQ(mLearner.getPidFromMap(other), -1);
    EXPECT_EQ(log.take(), "Finding pid for com.app found 1\n; Finding pid for other found 0\n");
}

}  // namespace
