// Reading a process's memory and OOM score, and the series they go into.
#include <cstdlib>
#include <cstring>
#include <stdio_ext.h>
#include <unistd.h>

#include "learner/fd_info.h"
#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "platform/int32_arithmetic.h"
#include "platform/log.h"

namespace {

constexpr std::size_t kLineSize = 150;
constexpr std::size_t kSeriesMax = 2000;  // exactly the budget of a long launch

// Back to the start of a procfs file for a fresh copy. fseek alone moves a
// read-only stream inside its filled buffer and repeats the first sample for
// ever. It may do so even after __fpurge, namely where the reader stopped at
// the very end of the buffer; so the descriptor itself is moved. A stream
// in memory has none.
void rewindFresh(std::FILE* file) {
    const int descriptor = fileno(file);
    if (descriptor < 0) {
        std::rewind(file);
        return;
    }
    __fpurge(file);
    std::clearerr(file);
    lseek(descriptor, 0, SEEK_SET);
}

void appendCapped(std::vector<std::int32_t>& series, std::int32_t value) {
    if (series.size() < kSeriesMax) series.push_back(value);
}

}  // namespace

std::int32_t OrvoLearner::getFieldValue(const char* line, const char* key) {
    if (line == nullptr || key == nullptr) return -1;
    const char* const field = std::strstr(line, key);
    return field != nullptr ? std::atoi(field + std::strlen(key)) : -1;
}

// RssAnon plus VmSwap, not the total resident size of the names: file pages
// come and go with the page cache and say nothing about the launch.
std::int32_t OrvoLearner::getProcessVmRss(std::FILE* statusFile) {
    if (statusFile == nullptr) {
        ORVO_LOGD_AT(3, 113, "getProcessVmRss", "Failed to open process file, perms issue?\n");
        return -1;
    }
    std::int32_t rss = -1;
    std::int32_t swap = -1;
    char line[kLineSize] = {};
    while (rss < 0 || swap < 0) {
        if (std::fgets(line, sizeof(line), statusFile) == nullptr) {
            ORVO_LOGE_AT(139, "getProcessVmRss", "Failed to read %s\n",
                         rss < 0 ? "rss" : "rssSwap");
            return -1;
        }
        if (rss < 0) rss = getFieldValue(line, "RssAnon:");
        if (swap < 0) swap = getFieldValue(line, "VmSwap:");
    }
    const std::int32_t total = wrappingAdd(rss, swap);
    ORVO_LOGD_AT(4, 134, "getProcessVmRss", "Process total rss = %d\n", total);
    return total;
}

std::int32_t OrvoLearner::getProcessOMMScore(std::FILE* oomFile) {
    if (oomFile == nullptr) return -1;
    char text[kLineSize] = {};
    rewindFresh(oomFile);
    // One item as long as the buffer: the few bytes of the file are read, and
    // the count of whole items, 0, is only logged.
    const std::size_t nread = std::fread(text, sizeof(text) - 1, 1, oomFile);
    const auto score = static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
    ORVO_LOGD_AT(4, 151, "getProcessOMMScore", "nread=%d OmmScore (%d)", static_cast<int>(nread),
                 score);
    return score;
}

// One period's samples. A vanished process ends the launch, but its score is
// still read once more. Values below 1 carry no sample.
void OrvoLearner::takeSample(std::FILE* statusFile, std::FILE* scoreFile) {
    if (statusFile != nullptr) {
        const std::int32_t memoryKb = getProcessVmRss(statusFile);
        rewindFresh(statusFile);
        if (memoryKb >= 1) {
            insertVmRss(memoryKb);
        } else if (memoryKb == -1) {
            mAbort = true;
        }
    }
    if (scoreFile != nullptr) {
        const std::int32_t score = getProcessOMMScore(scoreFile);
        if (score >= 1) insertOMMScroe(score);
    }
}

void OrvoLearner::insertVmRss(std::int32_t value) {
    try {
        const HardeningLock hardening(mDataMutex);
        appendCapped(mVmRss, value);
    } catch (...) {
        ORVO_LOG_CAUGHT_AT(764, 766, "insertVmRss");
    }
}

void OrvoLearner::insertOMMScroe(std::int32_t value) {
    try {
        const HardeningLock hardening(mDataMutex);
        appendCapped(mOOMScroe, value);
    } catch (...) {
        ORVO_LOG_CAUGHT_AT(776, 778, "insertOMMScroe");
    }
}

void OrvoLearner::insertFDCount(std::int32_t value) {
    try {
        const std::lock_guard<DataMutex> lock(mDataMutex);
        appendCapped(mFDCount, value);
    } catch (...) {
        ORVO_LOG_CAUGHT_AT(753, 755, "insertFDCount");
    }
}

// Holds mDataMutex while insertFDCount takes it again: with the plain mutex a
// message with entries blocks its caller for good. This order of locks is what
// the framework was built against; only the hardened build's recursive mutex
// lets such a message pass.
void OrvoLearner::updatesFDCount(const void* msg) {
    const std::lock_guard<DataMutex> lock(mDataMutex);
    // Error priority, so that it always shows.
    ORVO_LOGE_AT(979, "updatesFDCount", "UPDATE_FD_INFO: FDs Size:%d", fdInfoCount(msg));
    for (int i = 0; i < fdInfoCount(msg); ++i) {
        const std::int32_t entry = fdInfoEntry(msg, i);
        ORVO_LOGD_AT(3, 981, "updatesFDCount", "FD info %d[%d]", i, entry);
        insertFDCount(entry);
    }
}
