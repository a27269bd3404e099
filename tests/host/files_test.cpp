// What the host opens, locks and writes, beside others who mean it harm or no harm.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/base/regular_file.h"
#include "host/base/whole_file.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

TEST(RegularFileTest, LinksArePersonsToGiveButNeverFollowedWhereTheHostWrites) {
    const TempFolder folder;
    std::ofstream(folder / "victim") << "precious";
    fs::create_symlink(folder / "victim", folder / "link");
    EXPECT_TRUE(openGivenFile(folder / "link", kUsage).isOpen());
    for (const int flags : {O_RDONLY, O_RDWR | O_CREAT | O_TRUNC}) {
        EXPECT_THAT([&] { openKeptFile(folder / "link", flags); },
                    refuses(kEnvironment, HasSubstr("symbolic link")));
    }
    EXPECT_THAT([&] { refuseUnlessRegular(folder / "link"); },
                refuses(kEnvironment, HasSubstr("symbolic link")));
    EXPECT_EQ(contentOf(folder / "victim"), "precious");
}

TEST(RegularFileTest, PipesAndFoldersAreRefusedWithoutWaiting) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const int flags : {O_RDONLY, O_WRONLY | O_APPEND, O_RDWR | O_CREAT}) {
        EXPECT_THAT([&] { openKeptFile(folder / "pipe", flags); },
                    refuses(kEnvironment, HasSubstr("it is a pipe")));
    }
    EXPECT_THAT([&] { openGivenFile(folder / "pipe", kUsage); },
                refuses(kUsage, HasSubstr("it is a pipe")));
    EXPECT_THAT([&] { openGivenFile(folder / "", kUsage); },
                refuses(kUsage, HasSubstr("it is a folder")));
    EXPECT_FALSE(openKeptFile(folder / "none", O_RDWR).isOpen());
}

}  // namespace
}  // namespace host
