// The replaced operator new, and the countdown to the fault.
#include "tests/support/allocation_faults.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local int pauses = 1;  // above 0 outside of an AllocationFaults
thread_local int remaining = 0;
std::function<void()> faultOfThread;  // set and called by one thread at a time

void* allocate(std::size_t size) {
    if (pauses == 0 && remaining-- == 0) {
        const AllocationFaults::Pause pause;
        faultOfThread();
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

AllocationFaults::AllocationFaults(int at, std::function<void()> fault) {
    faultOfThread = std::move(fault);
    remaining = at;
    pauses = 0;
}

AllocationFaults::~AllocationFaults() {
    pauses = 1;
    faultOfThread = nullptr;
}

bool AllocationFaults::happened() const {
    return remaining < 0;
}

AllocationFaults::Pause::Pause() {
    ++pauses;
}

AllocationFaults::Pause::~Pause() {
    --pauses;
}
