// The replaced usleep and steady clock.
#include "tests/support/virtual_time.h"

#include <atomic>
#include <chrono>
#include <unistd.h>

#include "tests/support/allocation_faults.h"

namespace virtual_time {

std::function<void(unsigned)> onSleep;
std::vector<unsigned> sleepsUs;
namespace {
std::atomic<std::int64_t> nowUs{1};
}

void advance(std::int64_t us) {
    nowUs += us;
}

void reset() {
    onSleep = nullptr;
    sleepsUs.clear();
}

}  // namespace virtual_time

int usleep(useconds_t us) {
    const allocation_faults::Pause pause;
    virtual_time::sleepsUs.push_back(us);
    if (virtual_time::onSleep) virtual_time::onSleep(us);
    virtual_time::advance(us);
    return 0;
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
    return time_point(std::chrono::microseconds(virtual_time::nowUs));
}
