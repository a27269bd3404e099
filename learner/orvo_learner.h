// The learner: everything known of the launch being learned.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/hardening.h"
#include "platform/thread_annotations.h"

class OrvoDBlayer;

/// One evaluation's endpoints as sample indices; 0 means none was found.
struct EpTriple {
    std::int32_t vmRss;
    std::int32_t oomScore;
    std::int32_t fdCount;
};

/// Learns launch endpoints, one launch at a time, on the learning thread.
///
/// The learning thread runs statsCollector; host threads hand it launches and
/// stop requests through OrvoFeature, push descriptor counts and ask for pids.
/// The operations of a launch catch what goes wrong in them and log it, except
/// where they say so. No operation holds two of the mutexes at once. Names and
/// log texts that are misspelled stay so: readers of logs and dumps match on them.
class OrvoLearner {
public:
    OrvoLearner();

    // Lifecycle: orvo_learner.cpp.

    /// Reads the dump property and resets the launch endpoint. Returns 0.
    int Init();

    /// Makes ready for the next launch: clears the stop request and all series.
    void Reset();

    void clearAll();
    void clearIntermediates();

    /// Lets the learning thread end after its launch, and empties all series.
    /// Neither wakes nor waits for the thread.
    void DeInit();

    // The learning loop: orvo_learner.cpp too.

    /// The body of the learning thread. Returns 0 at the end of the first launch
    /// that ends after DeInit was called. An allocation that fails while a
    /// launch is taken over ends the process.
    int statsCollector();

    // Finding the launched process: process_discovery.cpp. A pid below 1 means
    // that none was found.

    /// Scans the top-app cpuset once for a task whose command line is exactly
    /// `appName`; returns its thread-group id, or -1.
    std::int32_t getPidExpensive(std::string& appName);

    /// Up to five scans, 200 ms before each; records the result in the pid map,
    /// which is for hosts: a pid of an earlier launch is never taken from there.
    std::int32_t getPid(std::string& appName);

    void setPidOnMap(std::string& appName, std::int32_t pid);

    /// The last result of getPid for the package, -1 without one. Any thread.
    std::int32_t getPidFromMap(std::string& appName);

    // Sampling: metric_sampling.cpp.

    /// The integer after `key` in `line`, -1 when it is not there or an
    /// argument is null.
    static std::int32_t getFieldValue(const char* line, const char* key);

    /// Anonymous resident plus swapped-out memory in kB, read from the stream's
    /// position on; -1 when either is missing. The caller rewinds.
    std::int32_t getProcessVmRss(std::FILE* statusFile);

    /// The OOM score, read from the start of the stream; -1 without a stream.
    std::int32_t getProcessOMMScore(std::FILE* oomFile);

    /// Appends; a series that holds 2000 values drops more in silence.
    void insertVmRss(std::int32_t value);
    void insertOMMScroe(std::int32_t value);
    void insertFDCount(std::int32_t value);

    /// Appends the counts of an FD-info message (learner/fd_info.h), on the
    /// host's thread. In the default build it blocks its caller for good when
    /// there are any.
    void updatesFDCount(const void* msg);

    // Ageing and frequency: frequency_ranking.cpp.

    /// Appends one age weight per data point to `ages`.
    void accessDataPtAge(const std::vector<std::int32_t>& dataPt, std::vector<float>& ages);

    /// Adds the occurrences of each value of `data` to `freq`.
    void countFrequentElem(const std::vector<std::int32_t>& data,
                           std::unordered_map<std::int32_t, std::int32_t>& freq);

    /// Replaces `top` by the most frequent values, at most 12.
    void topFrequentElem(const std::unordered_map<std::int32_t, std::int32_t>& freq,
                         std::vector<std::int32_t>& top);

    // Youngest points and endpoints: endpoint_calculation.cpp.

    /// The difference of a from b in percent of b; of 1 where |b| <= 1. Lets
    /// out what SecFloat throws.
    static float calcDiffPercentage(float a, float b);

    /// The value at which the series settles, chosen among `top`; 0 without one.
    std::int32_t getYoungest(std::vector<std::int32_t> top, const std::vector<float>& elemAges,
                             const std::vector<std::int32_t>& dataPt);

    /// The index from which `streak` points in a row are within `evalCritera`
    /// percent of `naturalResidency`; the last shorter run's start when there
    /// is no such run, 0 when no point is that close.
    std::int32_t calculateEndp(std::int32_t naturalResidency, const std::vector<std::int32_t>& data,
                               std::int32_t evalCritera, std::int32_t streak);

    // Evaluation and decision: stabilisation.cpp.

    /// Evaluates the series once and decides the launch's endpoint if it can.
    /// `vmRssBias` is only logged. Throws std::bad_alloc. Not analysed: the
    /// final evaluation reads mFDCount without its lock, by design.
    void churnForStablizingPoints(std::int32_t vmRssBias,
                                  std::int32_t streak) ORVO_NO_THREAD_SAFETY_ANALYSIS;

    /// Decides from the history of evaluations. The argument is not used, and
    /// kept for the callers' sake.
    void concludeEp(std::int32_t);

    // The dump: diagnostics/csv_dump.cpp.

    /// Appends the current evaluation to the package's dump file. Not analysed,
    /// like churnForStablizingPoints.
    void exportToFile() ORVO_NO_THREAD_SAFETY_ANALYSIS;

    /// Appends a marker line to the package's dump file.
    void exportToFile(const char* data, std::int32_t value, const char* appName);

    /// Appends one cell, element `index` of `vec` or 0 past its end, to `out`.
    template <typename T>
    static void vecToStr(std::string& out, const std::vector<T>& vec, std::int64_t index);

    /// The one learner of the process.
    static OrvoLearner mOrvoLearner;

private:
    friend class OrvoFeature;      // hands launches and stop requests over
    friend class OrvoLearnerPeer;  // tests, and tools that replay recorded series

    // Steps of statsCollector, in the order in which a launch takes them.
    void awaitLaunch() ORVO_NO_THREAD_SAFETY_ANALYSIS;
    void learnLaunch();
    bool huntForPid(std::int32_t& pid, double& huntTimeMs);
    void collectSamples(std::int32_t pid, std::int32_t streak);
    void sampleLoop(std::FILE* statusFile, std::FILE* scoreFile, std::int32_t sampleBudget,
                    std::int32_t streak);
    void takeSample(std::FILE* statusFile, std::FILE* scoreFile);
    bool evaluatePeriodically(std::uint32_t sampleIndex, std::int32_t streak);
    void concludeLaunch(std::int32_t streak, double huntTimeMs);
    void recordEndpoint(double huntTimeMs);
    void concludePackage();
    void copyStopRequest();

    // Steps of concludeEp.
    struct Stability;
    void concludeSingle();
    void concludeHistory(Stability& stability);
    bool isStable(const Stability& stability) const;
    void concludeByDataUnavailable(const Stability& stability);

    // Steps of exportToFile.
    std::size_t dumpRows() const ORVO_NO_THREAD_SAFETY_ANALYSIS;
    void appendDumpRow(std::string& row, std::int64_t index) const ORVO_NO_THREAD_SAFETY_ANALYSIS;

    // The order of the fields is kept: the destructor releases them in reverse.
    // Who may touch what: the learning thread alone, except where a lock or an
    // atomic says otherwise, and except that DeInit empties series and
    // intermediates on a host's thread.

    OrvoDBlayer* mDB;  // not owned; set at construction

    std::vector<std::int32_t> mVmRss;  // kB
    std::vector<std::int32_t> mOOMScroe;
    std::vector<std::int32_t> mFDCount ORVO_GUARDED_BY_DATA(mDataMutex);

    // Weights by twelfth of a series, oldest first. The first two are the six-
    // digit decimals of 2^-11 and 2^-10, not the powers: recorded endpoints
    // were made with them. Only the last is exactly 1.
    std::vector<float> mAgeTable{0.000488281F, 0.000976563F, 0x1p-9F, 0x1p-8F, 0x1p-7F, 0x1p-6F,
                                 0x1p-5F,      0x1p-4F,      0x1p-3F, 0x1p-2F, 0x1p-1F, 1.0F};

    // Intermediates of one evaluation, per metric.
    std::vector<float> VmRssAge;
    std::vector<float> OOMScroeAge;
    std::vector<float> FDCountAge;
    std::vector<std::int32_t> mVmRssTop12;
    std::vector<std::int32_t> mOOMScroeTop12;
    std::vector<std::int32_t> mFDCountTop12;
    std::int32_t mVmRssYoungest = 0;
    std::int32_t mOOMScroeYoungest = 0;
    std::int32_t mFDCountYoungest = 0;
    std::unordered_map<std::int32_t, std::int32_t> mVmRssFreq;
    std::unordered_map<std::int32_t, std::int32_t> mOOMScroeFreq;
    std::unordered_map<std::int32_t, std::int32_t> mFDCountFreq;
    std::int32_t mVmRssEp = 0;  // sample indices
    std::int32_t mOOMScroeEp = 0;
    std::int32_t mFDCountEp = 0;

    std::vector<EpTriple> mEpHistory;  // one entry per evaluation of the launch
    std::atomic<bool> mEpDecided{false};
    std::int32_t mEpIdx = 0;  // sample index; may hold a candidate below 1

    bool mCsvDumpEnabled = false;
    std::atomic<std::int32_t> mLaunchEndpoint{0};  // ms; 0 is none
    std::int32_t mSettlingDuration = 0;            // ms; only logged
    HardenedAtomic<bool> mAbort{false};            // the thread's copy of mStopRequested
    std::int32_t mMaxSamples = 2000;               // budget of a long launch

    std::mutex mPidMapMutex;
    std::string mAppName;
    std::int32_t mLaunchType = 0;
    std::int32_t mLaunchSubType = 0;
    std::unordered_map<std::string, std::int32_t> mPidMap ORVO_GUARDED_BY(mPidMapMutex);

    std::mutex mLaunchMutex;  // the hand-over of a launch
    std::mutex mStateMutex;   // the stop request
    DataMutex mDataMutex;     // mFDCount and the periodic evaluation
    std::condition_variable mLaunchCond;
    std::atomic<bool> mRunning{false};
    bool mLaunchPending ORVO_GUARDED_BY(mLaunchMutex) = false;
    bool mStopRequested ORVO_GUARDED_BY(mStateMutex) = false;
    std::string mPendingAppName ORVO_GUARDED_BY(mLaunchMutex);
    std::int32_t mPendingLaunchType ORVO_GUARDED_BY(mLaunchMutex) = 0;
    std::int32_t mPendingLaunchSubType ORVO_GUARDED_BY(mLaunchMutex) = 0;
};
