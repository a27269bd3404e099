// The host's message of descriptor counts, of every length and unaligned. Needs
// the hardened locking: by default a message with entries blocks its caller.
#include <algorithm>
#include <cstring>

#include "feature/orvo.h"
#include "fuzz/support.h"
#include "host/dump/learner_peer.h"

namespace {
constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kSeriesMax = 2000;
}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kHeaderSize) return 0;
    // A host's count is never beyond its buffer; the buffer ends with the last entry.
    const std::size_t room = (size - kHeaderSize) / sizeof(std::int32_t);
    const auto count = static_cast<std::uint16_t>((data[0] + 256U * data[1]) % (room + 1));
    const std::size_t length = kHeaderSize + count * sizeof(std::int32_t);
    const auto buffer = std::make_unique<char[]>(length + 1);
    char* const message = buffer.get() + 1;
    std::memcpy(message, data, length);
    std::memcpy(message, &count, sizeof(count));

    OrvoLearner& learner = OrvoLearner::mOrvoLearner;
    const OrvoLearnerPeer peer(learner);
    learner.clearAll();
    std::string app = "app";
    fuzz::require(setData(ORVO_SET_FD_INFO, app, message) == 0);
    fuzz::require(peer.fdCounts() == std::min<std::size_t>(count, kSeriesMax));
    return 0;
}
