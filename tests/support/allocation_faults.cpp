// The replaced operator new, and the countdown to the fault.
#include "tests/support/allocation_faults.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local int remaining = -1;  // allocations before the fault; none comes below 0
thread_local const std::function<void()>* faultOfThread = nullptr;

}  // namespace

void* operator new(std::size_t size) {
    if (remaining >= 0 && remaining-- == 0) (*faultOfThread)();
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

bool allocation_faults::happensAt(int at, const std::function<void()>& fault,
                                  const std::function<void()>& operation) {
    faultOfThread = &fault;
    remaining = at;
    operation();
    return std::exchange(remaining, -1) < 0;
}

allocation_faults::Pause::Pause() : mRemaining(std::exchange(remaining, -1)) {}

allocation_faults::Pause::~Pause() {
    remaining = mRemaining;
}
