// Finding the launched process among the tasks of the top-app cpuset.
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "tests/library/learner_test.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"

namespace {

using device::Child;

class DiscoveryTest : public LearnerTest {
protected:
    ~DiscoveryTest() override { unlink(device::kTasksPath); }

    std::int32_t scan(const std::string& tasks) {
        device::setTasks(tasks);
        return mLearner.getPidExpensive(mApp);
    }
    static std::string text(const Child& child) { return std::to_string(child.pid()) + "\n"; }

    std::string mApp = "com.app";
};

TEST_F(DiscoveryTest, OnlyTheExactNameMatchesInTheOrderOfTheTaskList) {
    const Child prefix = Child::named("com.ap");
    const Child service = Child::named("com.app:service");
    const Child first = Child::named("com.app");
    const Child second = Child::named("com.app");
    Child zombie = Child::named("com.app");
    zombie.die(false);
    const std::string misses = text(prefix) + text(service) + text(zombie) + "2000000000\n";
    const std::pair<std::string, std::int32_t> cases[] = {
        {misses + text(second) + text(first), second.pid()},
        {text(first) + text(second), first.pid()},
        {"7 garbage " + text(first), -1},  // read up to what is not a number
        {"0 -5 " + std::to_string(first.pid()), first.pid()},
    };
    LogCapture log;
    for (const auto& [tasks, pid] : cases)
        EXPECT_EQ(scan(tasks), pid) << tasks;
    unlink(device::kTasksPath);
    EXPECT_EQ(mLearner.getPidExpensive(mApp), -1);
    EXPECT_EQ(log.take(), "");
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
        const std::string firstPid = std::to_string(first.pid());
        device::setTasks(text(first) + text(second));
        LogCapture log;
        std::int32_t pid = 0;
        more = allocation_faults::happensAt(
            at, [&] { first.die(); }, [&] { pid = mLearner.getPidExpensive(mApp); });
        if (log.count("Error openiong is /proc/" + firstPid + "/status\n") == 0) continue;
        EXPECT_EQ(pid, second.pid());
        ++vanishedBeforeStatus;
    }
    EXPECT_GT(vanishedBeforeStatus, 0);
}

}  // namespace
