// The launch type that the learner treats apart.
#pragma once

#include <cstdint>

/// A long launch (a game's): up to a minute of samples, evaluated as it goes.
constexpr std::int32_t kLongLaunchType = 2;
