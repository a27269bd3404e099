// What the host refuses: the error's code and its one line.
#pragma once

#include <gmock/gmock.h>
#include <string>

#include "host/base/exit_code.h"

/// Matches an action that is refused with that code and such a text.
inline auto refuses(host::ExitCode code, const testing::Matcher<std::string>& why) {
    const auto isOneLine = testing::Not(testing::HasSubstr("\n"));
    return testing::Throws<host::HostError>(testing::AllOf(
        testing::Property("code", &host::HostError::code, code),
        testing::Property("what", &host::HostError::what, testing::AllOf(why, isOneLine))));
}
