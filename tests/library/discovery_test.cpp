// Finding the launched process among the tasks of the top-app cpuset.
#include <atomic>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "platform/tavo_log.h"
#include "tests/library/peers.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"
#include "tests/support/virtual_time.h"

namespace {

using device::Child;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

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
    const std::pair<std::string, std::int32_t> cases[] = {
        {"", -1},
        {misses, -1},
        {misses + text(second) + text(first), second.pid()},
        {misses + text(first) + text(second), first.pid()},
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

TEST_F(DiscoveryTest, TenThousandTasksAreScannedToTheLast) {
    const Child child = Child::named("com.app");
    std::string gone;
    for (int task = 0; task < 10'000; ++task)
        gone += std::to_string(2'000'000'000 + task) + "\n";
    EXPECT_EQ(scan(gone + text(child)), child.pid());
}

TEST_F(DiscoveryTest, ListThatChangesWhileItIsReadYieldsTheProcessOrNothing) {
    const Child child = Child::named("com.app");
    device::setTasks("");
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
    std::promise<pid_t> threadId;
    std::promise<void> end;
    std::thread thread([&] {
        threadId.set_value(static_cast<pid_t>(syscall(SYS_gettid)));
        end.get_future().wait();
    });
    const pid_t task = threadId.get_future().get();
    mApp = device::nameOf(task);
    LogCapture log(3);
    EXPECT_EQ(scan(std::to_string(task)), getpid());
    EXPECT_EQ(log.take(), "tgid is " + std::to_string(getpid()) + "\n");
    end.set_value();
    thread.join();
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
        if (log.count("Error openiong is /proc/" + std::to_string(firstPid) + "/status\n") == 1) {
            EXPECT_EQ(log.lines()[0].line, 199);
            EXPECT_EQ(pid, second.pid());
            ++vanishedBeforeStatus;
        }
        EXPECT_TRUE(pid == firstPid || pid == second.pid() || pid == -1) << pid;
    }
    EXPECT_GT(vanishedBeforeStatus, 0);
}

TEST_F(DiscoveryTest, LooksFiveTimesAfterASleepEachAndRecordsFailuresToo) {
    const Child child = Child::named("com.app");
    device::setTasks(text(child));
    LogCapture log;
    EXPECT_EQ(mLearner.getPidFromMap(mApp), -1);
    EXPECT_EQ(mLearner.getPid(mApp), child.pid());
    EXPECT_THAT(virtual_time::sleepsUs, ElementsAre(200'000));
    EXPECT_EQ(mLearner.getPidFromMap(mApp), child.pid());
    device::setTasks("");
    virtual_time::onSleep = [&](unsigned) {
        if (virtual_time::sleepsUs.size() == 6) device::setTasks(text(child));
    };
    EXPECT_EQ(mLearner.getPid(mApp), child.pid());  // found by the fifth
    EXPECT_EQ(log.take(), "");
    virtual_time::reset();
    device::setTasks("");
    EXPECT_EQ(mLearner.getPid(mApp), -1);
    EXPECT_THAT(virtual_time::sleepsUs, testing::AllOf(SizeIs(5), Each(200'000)));
    EXPECT_EQ(log.take(), "Failed to get pid for app_name com.app\n");
    setTavoLogLevel(3);
    EXPECT_EQ(mLearner.getPidFromMap(mApp), -1);  // the failure replaced the pid
    std::string other = "other";
    EXPECT_EQ(mLearner.getPidFromMap(other), -1);
    EXPECT_EQ(log.take(), "Finding pid for com.app found 1\n; Finding pid for other found 0\n");
}

}  // namespace
