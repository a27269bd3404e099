// The file that takes what the launched commands of one learn print.
#include "host/state/command_output.h"

#include <cerrno>
#include <cstring>

#include "host/base/exit_code.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"

namespace host {
namespace {

constexpr off_t kLargestOutput = 4 << 20;

}  // namespace

CommandOutput::CommandOutput(const StateFolder& state) {
    for (int n = 1;; ++n) {
        mPath = state.commandOutput(n);
        mFile = openKeptFile(mPath, O_RDWR | O_CREAT | O_APPEND);
        if (takeLock(mFile.get(), mPath, {}, 0)) break;
    }
    if (ftruncate(mFile.get(), 0) == 0) return;
    throw HostError(kEnvironment, "cannot write " + mPath + ": " + std::strerror(errno));
}

void CommandOutput::keepBounded() const {
    if (lseek(mFile.get(), 0, SEEK_END) < kLargestOutput) return;
    [[maybe_unused]] const int cut = ftruncate(mFile.get(), 0);
}

}  // namespace host
