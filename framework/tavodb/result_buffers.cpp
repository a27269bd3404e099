// Ties each buffer's life to its thread's and its object's.
#include "framework/tavodb/result_buffers.h"

#include <algorithm>

namespace tavodb {
namespace {

// Lives as long as its thread and remembers where the thread has buffers.
class ThreadsBuffers {
public:
    ~ThreadsBuffers() {
        for (const auto& entry : mOwners) {
            if (const auto owner = entry.lock()) owner->release(std::this_thread::get_id());
        }
    }

    void add(std::weak_ptr<ResultBuffers> owner) {
        const auto isGone = [](const auto& entry) { return entry.expired(); };
        mOwners.erase(std::remove_if(mOwners.begin(), mOwners.end(), isGone), mOwners.end());
        mOwners.push_back(std::move(owner));
    }

private:
    std::vector<std::weak_ptr<ResultBuffers>> mOwners;
};

thread_local ThreadsBuffers tBuffers;

}  // namespace

ResultBuffers::Buffer& ResultBuffers::ofThisThread() {
    const auto thread = std::this_thread::get_id();
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto known = mBuffers.find(thread);
    if (known != mBuffers.end()) return known->second;
    tBuffers.add(weak_from_this());  // first: a buffer unknown to its thread would leak
    return mBuffers[thread];
}

void ResultBuffers::release(std::thread::id thread) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mBuffers.erase(thread);
}

}  // namespace tavodb
