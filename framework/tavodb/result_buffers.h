// The buffers that hold one database object's query results, one per thread.
#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/thread_annotations.h"

namespace tavodb {

/// Any thread may call. Must be owned by a shared_ptr: threads that end while
/// the object lives give their buffer back.
class ResultBuffers : public std::enable_shared_from_this<ResultBuffers> {
public:
    using Buffer = std::vector<unsigned char>;

    /// The calling thread's buffer, which lasts as long as both the thread and
    /// this object.
    Buffer& ofThisThread();

    /// Frees the buffer of a thread that is ending.
    void release(std::thread::id thread);

private:
    std::mutex mMutex;
    // Node-based: a reference to a buffer survives the others' coming and going.
    std::unordered_map<std::thread::id, Buffer> mBuffers ORVO_GUARDED_BY(mMutex);
};

}  // namespace tavodb
