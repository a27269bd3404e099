// The task list that the host keeps in place of the kernel.
#include "host/task_list.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/framework/temp_folder.h"

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

// A reader may hold the file open and read in between: no piece of a number of
// the old list may show.
TEST(TaskListTest, FileShowsTheNewListWithoutPiecesOfTheOld) {
    const TempFolder folder;
    const std::string gone = "4194304\n";  // above every pid that Linux gives
    const std::string own = std::to_string(getpid()) + '\n';
    std::ofstream(folder / "tasks") << gone << own << gone;
    TaskListKeeper keeper(folder / "tasks");
    ASSERT_TRUE(keeper.keep({1}));
    EXPECT_EQ(contentOf(folder / "tasks"), own + "1\n");
    EXPECT_EQ(formatTaskList({12}, 8), "12\n\n\n\n\n\n");
}

}  // namespace
}  // namespace host
