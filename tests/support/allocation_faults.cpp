// The replaced operator new, and the countdown to the fault.
#include "tests/support/allocation_faults.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int pauses = 1;  // 0 only within happensAt
thread_local int remaining = 0;
thread_local const std::function<void()>* faultOfThread = nullptr;

}  // namespace

void* operator new(std::size_t size) {
    if (pauses == 0 && remaining-- == 0) {
        const allocation_faults::Pause pause;
        (*faultOfThread)();
    }
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
    {
        struct Counting {
            Counting() { --pauses; }
            ~Counting() { ++pauses; }
        } const counting;
        operation();
    }
    return remaining < 0;
}

allocation_faults::Pause::Pause() {
    ++pauses;
}

allocation_faults::Pause::~Pause() {
    --pauses;
}
