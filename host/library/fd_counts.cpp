// The open descriptors of the process being learned, counted and sent to the library.
#include "host/library/fd_counts.h"

#include <sys/stat.h>

#include "host/library/metric.h"
#include "host/process/proc_file.h"

namespace host {
namespace {

// Small, for what is not yet sent when the library stops sampling is lost.
constexpr std::size_t kBatchSize = 4;

constexpr double kPeriodMs = kSamplePeriodMs;

// Nothing when the process is gone. Since Linux 6.2 the folder's size is the number of
// its entries, at a tenth of what reading them costs.
std::optional<std::int32_t> countDescriptors(pid_t process) {
    struct stat folder {};
    const std::string path = procPath(process, "fd");
    if (stat(path.c_str(), &folder) == 0 && folder.st_size > 0)
        return static_cast<std::int32_t>(folder.st_size);
    const ProcFolder entries = openProcFolder(path);
    if (!entries) return std::nullopt;
    std::int32_t count = 0;
    while (const dirent* entry = readdir(entries.get())) {
        if (entry->d_name[0] != '.') ++count;
    }
    return count;
}

}  // namespace

void FdCounts::take(double nowMs) {
    if (nowMs < mNextMs) return;
    const bool isOnTime = nowMs < mNextMs + kPeriodMs;
    mNextMs = (isOnTime ? mNextMs : nowMs) + kPeriodMs;  // counts that were missed stay missed
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
