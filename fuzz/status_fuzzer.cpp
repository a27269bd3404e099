// The reader of a process's status file.
#include "fuzz/support.h"
#include "host/dump/learner_peer.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    OrvoLearner learner;
    OrvoLearnerPeer peer(learner);
    const fuzz::Stream status = fuzz::streamOf(data, size);
    const std::int32_t memoryKb = learner.getProcessVmRss(status.get());
    std::rewind(status.get());
    // Each sample starts at the top of the file again.
    peer.takeSample(status.get(), nullptr);
    peer.takeSample(status.get(), nullptr);
    const std::vector<std::int32_t> expected(memoryKb >= 1 ? 2 : 0, memoryKb);
    fuzz::require(peer.vmRss == expected);
    return 0;
}
