// The open descriptors of the process being learned, counted and sent to the library.
#include "host/library/fd_counts.h"

#include "host/process/proc_file.h"

namespace host {
namespace {

// Small, for what is not yet sent when the library stops sampling is lost.
constexpr std::size_t kBatchSize = 4;

}  // namespace

std::optional<std::int32_t> countDescriptors(pid_t process) {
    const ProcFolder entries = openProcFolder(procPath(process, "fd"));
    if (!entries) return std::nullopt;
    std::int32_t count = 0;
    while (const dirent* entry = readdir(entries.get())) {
        if (entry->d_name[0] != '.') ++count;
    }
    return count;
}

void FdCounts::take() {
    // The process that the library found may be a child of the command's.
    if (mProcess == 0) mProcess = mLibrary.pid(mPackage);
    const std::optional<std::int32_t> count = countDescriptors(mProcess);
    if (!count) return;
    mBatch.push_back(*count);
    if (mBatch.size() < kBatchSize) return;
    mLibrary.sendFdCounts(mPackage, mBatch);
    mBatch.clear();
}

}  // namespace host
