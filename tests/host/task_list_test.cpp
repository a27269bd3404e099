// The task list that the host keeps in place of the kernel.
#include "host/task_list.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace host {
namespace {

using testing::ElementsAre;

TEST(TaskListTest, ListIsReadUpToTheFirstThingThatIsNoNumber) {
    EXPECT_THAT(parseTaskList("12\n7 \n\n3"), ElementsAre(12, 7, 3));
    EXPECT_THAT(parseTaskList("12\nx\n7\n"), ElementsAre(12));
    EXPECT_THAT(parseTaskList("12\n99999999999999999999\n7"), ElementsAre(12));
    EXPECT_THAT(parseTaskList(" \n"), ElementsAre());
}

TEST(TaskListTest, EndedTasksGoOthersKeepTheirPlaceAndNewOnesComeLast) {
    const auto isEven = [](pid_t task) { return task % 2 == 0; };
    EXPECT_THAT(mergeTasks({4, 3, 2, 4}, {2, 7, 8}, isEven), ElementsAre(4, 2, 7, 8));
}

// A reader may hold the file open: it must see the new list, and no piece of a
// number of the old one.
TEST(TaskListTest, HeldFileShowsTheNewListWithoutPiecesOfTheOld) {
    std::string path = testing::TempDir() + "tasks-XXXXXX";
    const UniqueFd held(mkstemp(path.data()));
    ASSERT_TRUE(held.isOpen());
    const std::string gone = "4194304\n";  // above every pid that Linux gives
    std::ofstream(path) << gone << getpid() << '\n' << gone;

    TaskListKeeper keeper(path);
    ASSERT_TRUE(keeper.keep({1}));
    char text[64] = {};
    const ssize_t length = pread(held.get(), text, sizeof text, 0);
    unlink(path.c_str());
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))),
              std::to_string(getpid()) + "\n1\n");
    EXPECT_EQ(formatTaskList({12}, 8), "12\n\n\n\n\n\n");
}

}  // namespace
}  // namespace host
