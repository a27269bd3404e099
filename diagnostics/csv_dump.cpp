// The optional dump of a launch's series and intermediate results as CSV text.
//
// One file per package, appended to: a block per evaluation (header, rows of
// ten cells, endpoints, youngest values, the decided index) or a marker line.
// The spacing is irregular and exact; readers of the dump match on it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "platform/log.h"

namespace {

constexpr char kHeader[] =
    "\n\n FD, OOM, VMRSS,VmRssAge,OOMScroeAge,FDCountAge,mAgeTable,mVmRssTop12,mOOMScroeTop12,"
    "mFDCountTop12";
constexpr std::size_t kPathSize = 128;  // a longer path is cut

using DumpPath = char[kPathSize];

// Opens the package's dump for appending and gives its path. The caller passes
// over a stream that is not open; a name with '/' would leave the dump's
// folder and is never opened.
std::ofstream openDump(const char* appName, DumpPath& path) {
    std::snprintf(path, sizeof(path), "/data/vendor/lm/%s_vmrss.csv", appName);
    if (std::strchr(appName, '/') != nullptr) return {};
    return std::ofstream(path, std::ios::out | std::ios::app);
}

std::string joined(std::int32_t a, std::int32_t b, std::int32_t c) {
    return std::to_string(a) + ", " + std::to_string(b) + ", " + std::to_string(c) + "\n";
}

}  // namespace

// A missing float is the digit 0 too, not 0.000000.
template <typename T>
void OrvoLearner::vecToStr(std::string& out, const std::vector<T>& vec, std::int64_t index) {
    const bool present = index < static_cast<std::int64_t>(vec.size());
    out += present ? std::to_string(vec[static_cast<std::size_t>(index)]) : std::to_string(0);
    out += ", ";
}

template void OrvoLearner::vecToStr<int>(std::string&, const std::vector<int>&, std::int64_t);
template void OrvoLearner::vecToStr<float>(std::string&, const std::vector<float>&, std::int64_t);

// The top values do not count: what reaches beyond the rows is not written.
std::size_t OrvoLearner::dumpRows() const {
    return std::max({mVmRss.size(), mOOMScroe.size(), mFDCount.size(), mAgeTable.size(),
                     VmRssAge.size(), OOMScroeAge.size(), FDCountAge.size()});
}

void OrvoLearner::appendDumpRow(std::string& row, std::int64_t index) const {
    vecToStr(row, mFDCount, index);
    vecToStr(row, mOOMScroe, index);
    vecToStr(row, mVmRss, index);
    vecToStr(row, VmRssAge, index);
    vecToStr(row, OOMScroeAge, index);
    vecToStr(row, FDCountAge, index);
    vecToStr(row, mAgeTable, index);
    vecToStr(row, mVmRssTop12, index);
    vecToStr(row, mOOMScroeTop12, index);
    vecToStr(row, mFDCountTop12, index);
}

void OrvoLearner::exportToFile() {
    try {
        if (!mCsvDumpEnabled) {
            // Written at every call although this is the normal state.
            ORVO_LOGE("exportToFile", "dump property not set, cancelling\n");
            return;
        }
        const auto rows = static_cast<std::int64_t>(dumpRows());
        ORVO_LOGD(3, "exportToFile", "%ld, %ld, %ld\n", static_cast<long>(mOOMScroe.size()),
                  static_cast<long>(mFDCount.size()), static_cast<long>(mVmRss.size()));
        DumpPath path;
        std::ofstream file = openDump(mAppName.c_str(), path);
        if (!file.is_open()) return;

        file << kHeader;
        std::string row;
        for (std::int64_t i = 0; i < rows; ++i) {
            row = "\n";
            appendDumpRow(row, i);
            file << row;
        }
        file << "\nmVmRssEp, mOOMScroeEp, mFDCountEp\n";
        file << joined(mVmRssEp, mOOMScroeEp, mFDCountEp);
        file << "\nmVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest\n";
        std::string line = joined(mVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest);
        file << line;
        if (mEpDecided.load(std::memory_order_acquire)) {
            line = "\nFinal : " + std::to_string(mEpIdx) + "\n";
            file << line;
        }
        ORVO_LOGD(3, "exportToFile", "%s = %s", mAppName.c_str(), line.c_str());
    } catch (...) {
        ORVO_LOG_CAUGHT("exportToFile");
    }
}

// Unlike the other overload it looks at its arguments before the property.
void OrvoLearner::exportToFile(const char* data, std::int32_t value, const char* appName) {
    try {
        if (data == nullptr || appName == nullptr) {
            ORVO_LOGE("exportToFile", "invalid parameters, cancelling\n");
            return;
        }
        if (!mCsvDumpEnabled) {
            ORVO_LOGE("exportToFile", "dump property not set, cancelling\n");
            return;
        }
        DumpPath path;
        std::ofstream file = openDump(appName, path);
        if (!file.is_open()) return;
        file << "\n";
        ORVO_LOGD(3, "exportToFile", "Writing Meter Marker for data to %s", path);
        const std::string line = std::string(data) + " " + std::to_string(value) + "\n";
        file << line;
        ORVO_LOGD(3, "exportToFile", "%s = %s", appName, line.c_str());
    } catch (...) {
        ORVO_LOG_CAUGHT("exportToFile");
    }
}
