// Time that passes only when the code under test sleeps: usleep and the steady
// clock are replaced at link time.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace virtual_time {

/// Called by each usleep, on the thread that sleeps, before time passes.
extern std::function<void(unsigned us)> onSleep;

/// The arguments of every usleep since the last reset.
extern std::vector<unsigned> sleepsUs;

/// Lets time pass without a sleep.
void advance(std::int64_t us);

/// Forgets the sleeps and the hook.
void reset();

}  // namespace virtual_time
