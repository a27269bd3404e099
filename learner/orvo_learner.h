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
/// No operation lets an exception out unless it says so; what it caught is in
/// the log. No operation holds two of the mutexes at once.
class OrvoLearner {
public:
    OrvoLearner() = default;

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

    // The learning loop: learning_loop.cpp.

    /// The body of the learning thread. Returns 0 once DeInit was called and
    /// the launch taken after or before that has run to its end.
    int statsCollector();

    // Finding the launched process: process_discovery.cpp. A pid below 1 means
    // that none was found.

    /// Scans the top-app cpuset once for a task whose command line is exactly
    /// `appName`; returns its thread-group id, or -1.
    std::int32_t getPidExpensive(std::string& appName);

    /// Up to five scans, 200 ms before each; records the result in the pid map.
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

    // Appends; a series that holds 2000 values drops more in silence.
    void insertVmRss(std::int32_t value);
    void insertOMMScroe(std::int32_t value);
    void insertFDCount(std::int32_t value);

    /// Appends the counts of an FD-info message (layout: feature/orvo.h), on
    /// the host's thread. Blocks its caller for good when there are any.
    void updatesFDCount(const void* msg) ORVO_NO_THREAD_SAFETY_ANALYSIS;

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

    /// The difference of a from b in percent of b; of 1 where |b| <= 1.
    static float calcDiffPercentage(float a, float b);

    /// The value at which the series settles, chosen among `top`; 0 without one.
    std::int32_t getYoungest(std::vector<std::int32_t> top, const std::vector<float>& elemAges,
                             const std::vector<std::int32_t>& dataPt);

    /// The index from which `streak` points in a row are within `evalCritera`
    /// percent of `naturalResidency`; the last shorter run's start when there
    /// is no such run, 0 when no point is.
    std::int32_t calculateEndp(std::int32_t naturalResidency, const std::vector<std::int32_t>& data,
                               std::int32_t evalCritera, std::int32_t streak);

    // Evaluation and decision: stabilisation.cpp.

    /// Evaluates the series once and decides the launch's endpoint if it can.
    /// `vmRssBias` is only logged. Throws std::bad_alloc.
    void churnForStablizingPoints(std::int32_t vmRssBias, std::int32_t streak);

    /// Decides from the history of evaluations. The argument is not used.
    void concludeEp(std::int32_t);

    // The dump: diagnostics/csv_dump.cpp.

    /// Appends the current evaluation to the package's dump file.
    void exportToFile();

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
    void collectSamples(std::int32_t pid, std::int32_t sampleBudget, std::int32_t streak);
    void takeSample(std::FILE* statusFile, std::FILE* scoreFile);
    bool evaluatePeriodically(std::uint32_t sampleIndex, std::int32_t streak);
    void concludeLaunch(std::int32_t streak, double huntTimeMs);
    void concludePackage();
    void copyStopRequest();
};
