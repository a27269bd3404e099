// The mounts that make the private root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/root/device_root_mounts.h"

namespace host {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

TEST(MirrorTest, FolderWhoseNameAPathOnlyBeginsWithIsBoundWhole) {
    std::string text;
    for (const std::string& word : mirrorArguments({{"/dev/procs", {"--dir", "/dev/procs"}},
                                                    {"/processes/x", {"--dir", "/processes/x"}}}))
        text += word + ' ';
    EXPECT_THAT(text, AllOf(HasSubstr("--dev-bind-try /proc /proc "), HasSubstr("--dir /dev "),
                            HasSubstr("--symlink /proc/self/fd /dev/fd "),
                            HasSubstr("--dev-bind-try /dev/null /dev/null "),
                            EndsWith("--dir /dev/procs --dir /processes/x ")));
}

}  // namespace
}  // namespace host
