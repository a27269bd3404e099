// Which library is loaded, and what is refused as one.
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/base/version.h"
#include "host/library/orvo_library.h"
#include "host/measure/measure_session.h"
#include "tests/framework/temp_folder.h"
#include "tests/host/refusal.h"

namespace host {
namespace {

using testing::HasSubstr;

constexpr const char* kHardened = ORVO_TEST_LIBRARY_DIR "/orvo/hardened/libzorv-orvo.so";
constexpr const char* kDefault = ORVO_TEST_LIBRARY_DIR "/libzorv-orvo.so";

// The program's own lies as seen from the program's folder.
TEST(LibraryFileTest, BuildsAreToldApart) {
    const LibraryFile hardened(ownLibraryFile());
    EXPECT_TRUE(std::filesystem::equivalent(ownLibraryFile(), kHardened));
    EXPECT_TRUE(hardened.isHardened());
    EXPECT_EQ(hardened.text(), std::string("hardened (") + kHardened + ')');
    EXPECT_EQ(libraryText(hardened, true), buildVersion() + ", hardened");
    EXPECT_EQ(libraryText(hardened, false),
              buildVersion() + ", hardened, without descriptor counts");
#ifndef ORVO_HARDENED_LOCKING
    const LibraryFile other(kDefault);
    EXPECT_FALSE(other.isHardened());
    EXPECT_EQ(libraryText(other, false), std::string(kDefault) + ", default");
#endif
}

TEST(LibraryFileTest, WhatIsNoneIsRefusedInALineThatNamesIt) {
    const TempFolder folder;
    const auto load = [](const std::string& file) { return [=] { LibraryFile library(file); }; };
    EXPECT_THAT(load(folder / "none"), refuses(kEnvironment, HasSubstr("none is missing")));
    EXPECT_THAT(load("/proc/self/status"), refuses(kEnvironment, HasSubstr("cannot be loaded")));
    EXPECT_THAT(load(ORVO_TEST_LIBRARY_DIR "/libtavo-log.so"),
                refuses(kEnvironment, HasSubstr("libtavo-log.so has no function setData")));
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(load(folder / "pipe"), refuses(kEnvironment, HasSubstr("pipe")));
    EXPECT_THAT([] { loadLibrary({std::string(), 3}); }, refuses(kUsage, HasSubstr("is empty")));
}

}  // namespace
}  // namespace host
