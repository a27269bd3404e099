// The reader of a process's score file.
#include "fuzz/support.h"
#include "host/dump/learner_peer.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    OrvoLearner learner;
    const fuzz::Stream score = fuzz::streamOf(data, size);
    const std::int32_t first = learner.getProcessOMMScore(score.get());
    fuzz::require(learner.getProcessOMMScore(score.get()) == first);
    return 0;
}
