// The table of all log lines: text, priority, gate, function and stated line.
// One scenario reaches them all, and runs at levels around every gate.
#include <gmock/gmock.h>
#include <new>
#include <pthread.h>
#include <regex>
#include <stdexcept>
#include <unistd.h>

#include "feature/orvo.h"
#include "platform/tavo_log.h"
#include "tests/library/peers.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

namespace {

#if defined(ORVO_HARDENED_LOCKING) || defined(__SANITIZE_THREAD__)
constexpr bool kIsLockFailureReached = false;  // the failing lock is another one, or is reported
#else
constexpr bool kIsLockFailureReached = true;
#endif

constexpr unsigned kError = 0;  // an error: no gate
constexpr int kSourceLine = 0;  // the line of the call

struct Row {
    const char* tag;
    const char* function;
    const char* format;
    unsigned gate;
    int line;
    bool isReached = true;
};

constexpr char kEntry[] = "TAVO-ORVO";
constexpr char kLearner[] = "TAVO-ORVO-LEARNER";
constexpr char kStore[] = "TAVO-ORVO-DB";
constexpr char kException[] = "exception %s\n";
constexpr char kUnknown[] = "unknown exception\n";

const Row kRows[] = {
    {kEntry, "Init", "Init Orvo", 3, 0},
    {kEntry, "Init", "Learning thread Creation Failed", kError, 0},
    {kEntry, "DeInit", "DeInit Orvo", 3, 0},
    {kEntry, "setData", "Empty appName!", kError, 0},
    {kEntry, "setData", "App:%s op:%d", 3, 0},
    {kEntry, "setData", "msg is NULL", kError, 0},
    {kEntry, "setData", "Erased learning for %s", 3, 0},
    {kEntry, "setData", "waking up learning thread for appName:%s", 4, 0},
    {kEntry, "setData", "Stopping learning", 4, 0},
    {kEntry, "setData", "Erased Learning for %s", 4, 0},
    {kEntry, "setData", "UPDATE_FD_INFO: FDs Size:%d", kError, 0},
    {kEntry, "setData", "FD info %d[%d]", 4, 0, false},  // blocks its caller
    {kEntry, "setData", "setData appName:%s", 4, 0},
    {kEntry, "setData", "Unsupported op:%d", kError, 0},
    {kEntry, "setData", kException, kError, 0},
    {kEntry, "setData", kUnknown, kError, 0},
    {kEntry, "getData", "Empty appName", kError, 0},
    {kEntry, "getData", "App:%s op:%d", 3, 0},
    {kEntry, "getData", "PID from Map:%d app:%s", kError, 0},
    {kEntry, "getData", "sample for %s = %d", 4, 0},
    {kEntry, "getData", "Unsupported op!", kError, 0},
    {kEntry, "getData", kException, kError, 0},
    {kEntry, "getData", kUnknown, kError, 0},

    {kLearner, "clearAll", "clearAll", 3, 0},
    {kLearner, "clearAll", "cleared", 3, 0},
    {kLearner, "clearIntermediates", "clearIntermediates", 3, 0},
    {kLearner, "clearIntermediates", "Intermediates cleared", 3, 0},
    {kLearner, "DeInit", "DeInit Orvo learner", 3, 0},
    {kLearner, "Reset", kException, kError, 0, kIsLockFailureReached},
    {kLearner, "clearAll", kException, kError, 0, kIsLockFailureReached},

    {kLearner, "statsCollector", "OrvoLearner Thread Started", 3, 0},
    {kLearner, "statsCollector", "Waiting for Launch Event...", 4, 0},
    {kLearner, "statsCollector", "Start Learning appName:%s", 2, 0},
    {kLearner, "statsCollector", "Settling Duration = %d", 3, 0},
    {kLearner, "statsCollector", "Aborted or timeout - Giving up on hunt", kError, 820},
    {kLearner, "statsCollector", "Could not find pid, can not collect vmrss data", kError, 830},
    {kLearner, "statsCollector", "getPid in loop for %s\n", 3, 823},
    {kLearner, "statsCollector", "actual pid = %d TimeTakenToFind %f ms\n", 3, 836},
    {kLearner, "statsCollector", "VmRSS filePath = %s opened\n", 3, 840},
    {kLearner, "statsCollector", "oom_score filePath = %s opened\n", 3, 845},
    {kLearner, "statsCollector", "Decided Samples = %d. Starting collection ...", 3, 0},
    {kLearner, "statsCollector", "Abort Detected for %s!", 3, 0},
    {kLearner, "statsCollector", "Evaluating for datapoint %d\n", 3, 0},
    {kLearner, "statsCollector", "Learned Launch Endpoint for %s = %d", 3, 0},
    {kLearner, "statsCollector", "Launch Endpoint could not determined for %s", 3, 0},
    {kLearner, "statsCollector", "Found sample for %s = %d", 4, 0},
    {kLearner, "statsCollector", kException, kError, 0},
    {kLearner, "statsCollector", kUnknown, kError, 0},

    {kLearner, "getPidExpensive", "tgid is %d\n", 3, 206},
    {kLearner, "getPidExpensive", "Caught Exception: %s in getPidExpensive", kError, 217},
    {kLearner, "getPidExpensive", "Caught Exception in getPidExpensive", kError, 219},
    {kLearner, "getPid", "Failed to get pid for app_name %s\n", kError, 240},
    {kLearner, "setPidOnMap", "Updating pid for %s to %d\n", 3, 248},
    {kLearner, "setPidOnMap", kException, kError, 252},
    {kLearner, "setPidOnMap", "Caught Exception", kError, 254},
    {kLearner, "getPidFromMap", "Finding pid for %s found %d\n", 3, 264},
    {kLearner, "getPidFromMap", kException, kError, 269, kIsLockFailureReached},
    {kLearner, "getProcessVmRss", "Failed to open process file, perms issue?\n", 3, 113},
    {kLearner, "getProcessVmRss", "Process total rss = %d\n", 4, 134},
    {kLearner, "getProcessVmRss", "Failed to read %s\n", kError, 139},
    {kLearner, "getProcessOMMScore", "nread=%d OmmScore (%d)", 4, 151},
    {kLearner, "insertFDCount", kException, kError, 753},
    {kLearner, "insertFDCount", kUnknown, kError, 755},
    {kLearner, "insertVmRss", kException, kError, 764},
    {kLearner, "insertVmRss", kUnknown, kError, 766},
    {kLearner, "insertOMMScroe", kException, kError, 776},
    {kLearner, "insertOMMScroe", kUnknown, kError, 778},
    {kLearner, "updatesFDCount", "UPDATE_FD_INFO: FDs Size:%d", kError, 979},

    {kLearner, "accessDataPtAge", "agingthr %d, coffIDx %d - age %f iter%d \n", 3, 0},
    {kLearner, "accessDataPtAge", kException, kError, 0},
    {kLearner, "accessDataPtAge", kUnknown, kError, 0},
    {kLearner, "countFrequentElem", kException, kError, 0},
    {kLearner, "countFrequentElem", kUnknown, kError, 0},
    {kLearner, "topFrequentElem", "not accumulating further freq now = %d", 3, 0},
    {kLearner, "topFrequentElem", "debugTopVals = %s", 3, 0},
    {kLearner, "topFrequentElem", kException, kError, 0},
    {kLearner, "topFrequentElem", kUnknown, kError, 0},
    {kLearner, "getYoungest", "elemAges.size(%lu) != dataPt.size(%lu)", 3, 0},
    {kLearner, "getYoungest", "diffList %s", 3, 0},
    {kLearner, "getYoungest", "setMinAsFreq True min  %d\n", 3, 0},
    {kLearner, "getYoungest", "setMinAsFreq True min  maxAge %d,newAge %d,maxAgeElem %d\n", 3, 0},
    {kLearner, "getYoungest", kException, kError, 0},
    {kLearner, "getYoungest", kUnknown, kError, 0},
    {kLearner, "calculateEndp",
     "naturalResidency = %d, data_sz = %d, evalCritera = %d, streak = %d\n", 3, 0},
    {kLearner, "calculateEndp", "naturalResidency %d EndPoint IDX %d\n", 3, 0},
    {kLearner, "calculateEndp", kException, kError, 0},
    {kLearner, "calculateEndp", kUnknown, kError, 0},
    {kLearner, "churnForStablizingPoints", "vmRssBias=%d, streak=%d\n", 3, 0},
    {kLearner, "churnForStablizingPoints", "mEpDecided Active EndPoint * * * IDX %d * * *\n", 3, 0},
    {kLearner, "churnForStablizingPoints", "Final EndPoint * * * IDX %d * * *\n", 3, 0},
    {kLearner, "concludeEp", "avg - ForGame(%d) {%d,%d,%d}  = %s =   Debug info", 3, 0},
    {kLearner, "concludeEp", "Final Ep by dataUnavailable %d\n", kError, 0},
    {kLearner, "concludeEp", kException, kError, 0},
    {kLearner, "concludeEp", kUnknown, kError, 0},
    {kLearner, "exportToFile", "dump property not set, cancelling\n", kError, 0},
    {kLearner, "exportToFile", "invalid parameters, cancelling\n", kError, 0},
    {kLearner, "exportToFile", "%ld, %ld, %ld\n", 3, 0},
    {kLearner, "exportToFile", "Writing Meter Marker for data to %s", 3, 0},
    {kLearner, "exportToFile", "%s = %s", 3, 0},
    {kLearner, "exportToFile", kException, kError, 0},
    {kLearner, "exportToFile", kUnknown, kError, 0},

    {kStore, "Init", "Could not open DB:%s", kError, 0},
    {kStore, "checkStatus", "Setting launchCount for %s (%s) to %d", 4, 0},
    {kStore, "checkStatus", "Failed to update status for app %s", kError, 0},
    {kStore, "writeAppSample", "Failed to write sample for app %s", kError, 0},
    {kStore, "writeAppSample", "written app %s sample endpoint %d", 4, 0},
    {kStore, "getAppSamples", "Failed to fetch samples for app %s", kError, 0},
    {kStore, "deleteAppSamples", "Failed to delete samples for app %s", kError, 0},
    {kStore, "deleteAppSamples", "deleted app %s samples successfully", 4, 0},
    {kStore, "writeFinalEP", "Failed to write endpoint for app %s", kError, 0},
    {kStore, "writeFinalEP", "Wrote endpoint for %s as %d", 4, 0},
    {kStore, "writeFinalEP", "State update for %s: isLearned=%d, launchCount=%d", 4, 0},
    {kStore, "writeFinalEP", "Failed to update status for app %s", kError, 0},
};

/// What a format can give.
std::regex patternOf(const std::string& format) {
    const auto replace = [](const std::string& text, const char* what, const char* by) {
        return std::regex_replace(text, std::regex(what), by);
    };
    std::string pattern = replace(format, R"([.*+?^${}()|[\]\\])", R"(\$&)");
    pattern = replace(pattern, "%f", R"(-?\d+\.\d{6})");
    pattern = replace(pattern, "%l?[du]", R"(-?\d+)");
    return std::regex(replace(pattern, "%s", R"([^]*)"));
}

class Scenario {
public:
    Scenario() {
        framework().reset();
        virtual_time::reset();
        mChild = std::to_string(mProcess.pid());
    }
    ~Scenario() {
        virtual_time::reset();
        framework().reset();
        unlink(device::kTasksPath);
        unlink(device::dumpPath(mApp).c_str());
    }

    void run() {
        entry();
        store();
        launches();
        sampling();
        analysis();
        if (kIsLockFailureReached) lockFailures();
    }

private:
    /// Fails the operation's first allocation, with each kind of exception.
    template <typename Operation>
    static void failing(Operation operation) {
        {
            const AllocationFaults fault(0, [] { throw std::bad_alloc(); });
            operation();
        }
        const AllocationFaults fault(0, [] { throw 5; });
        operation();
    }

    /// The same for the float product.
    template <typename Operation>
    static void failingProduct(Operation operation) {
        framework().onMultiply = [] { throw std::runtime_error("boom"); };
        operation();
        framework().onMultiply = [] { throw 5; };
        operation();
        framework().onMultiply = nullptr;
    }

    void entry() {
        std::int32_t message[2] = {};
        std::string noName;
        pthread_attr_t before;
        pthread_attr_t huge;
        pthread_getattr_default_np(&before);
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
        pthread_setattr_default_np(&huge);
        setData(10, mApp, nullptr);  // fails to create the thread
        pthread_setattr_default_np(&before);
        for (const int op : {1, 2, 5, 6})
            setData(op, mApp, op == 6 ? message : nullptr);
        setData(1, mApp, message);
        setData(3, mApp, nullptr);
        setData(2, noName, nullptr);
        framework().addRow("OrvoStatus", mApp, {0, 499});
        setData(1, mApp, message);
        framework().addRow("OrvoLearning", mApp, {3});
        for (const int op : {5, 7, 9})
            getData(op, mApp);
        getData(4, noName);
        framework().faults["query OrvoStatus"] = []() -> std::int32_t { throw 5; };
        setData(1, mApp, message);
        getData(4, mApp);
        framework().faults["query OrvoStatus"] = []() -> std::int32_t {
            throw std::runtime_error("boom");
        };
        setData(1, mApp, message);
        getData(4, mApp);
        framework().reset();
        setData(11, mApp, nullptr);
    }

    void store() {
        OrvoDBlayer& db = OrvoDBlayer::mOrvoDB;
        bool flag = false;
        db.Init();
        for (const bool fails : {false, true}) {
            std::vector<std::int32_t> samples;
            if (fails) {
                for (const char* call : {"update OrvoStatus", "insert OrvoLearning", "open OrvoEP",
                                         "queryAll OrvoLearning", "delete OrvoLearning"}) {
                    framework().faults[call] = [] { return -1; };
                }
            }
            db.checkStatus(mApp, true, flag, flag);
            db.writeAppSample(mApp, 1);
            db.getAppSamples(mApp, samples);
            db.deleteAppSamples(mApp);
            db.writeFinalEP(mApp, 1);
            framework().addRow("OrvoStatus", mApp, {0, 1});
        }
        framework().faults["insert OrvoEP"] = [] { return -1; };
        db.writeFinalEP(mApp, 1);
        db.Init();
        framework().reset();
        db.Init();
    }

    /// One launch whose process shows up at the second look, and which stops at
    /// `stopAt`, if at all. Without `descriptors` nothing ever changes.
    void launch(std::int32_t type, bool descriptors, int stopAt = -1) {
        OrvoLearner learner;
        OrvoLearnerPeer peer(learner);
        int sleeps = 0;
        peer.dumpEnabled = true;
        peer.launch(mApp, type, 0);
        device::setTasks("");
        virtual_time::onSleep = [&](unsigned) {
            peer.endRunning();
            if (++sleeps == 6) device::setTasks(mChild);
            if (descriptors) learner.insertFDCount(sleeps < 12 ? 1 : 1000);
            if (sleeps == stopAt) peer.requestStop();
        };
        learner.statsCollector();
    }

    void launches() {
        for (int i = 0; i < 4; ++i)
            framework().addRow("OrvoLearning", mApp, {100});
        launch(1, true);       // decided, and the fifth
        launch(1, false);      // undecided
        launch(1, false, 5);   // stopped during the hunt
        launch(1, false, 10);  // stopped during sampling
        launch(2, false, 200);
        failingProduct([this] { launch(1, false); });
        mLearner.exportToFile();
        mLearner.exportToFile(nullptr, 0, nullptr);
        mPeer.dumpEnabled = true;
        mPeer.appName = mApp;
        failing([this] { mLearner.exportToFile(); });
    }

    void sampling() {
        failing([this] { mLearner.getPidExpensive(mApp); });
        failing([this] { mLearner.setPidOnMap(mApp, 1); });
        failing([this] { mLearner.insertVmRss(1); });
        failing([this] { mLearner.insertOMMScroe(1); });
        failing([this] { mLearner.insertFDCount(1); });
        mLearner.getProcessVmRss(nullptr);
        std::FILE* const empty = std::tmpfile();
        mLearner.getProcessVmRss(empty);
        std::fclose(empty);
    }

    void analysis() {
        const std::vector<std::int32_t> series = {1, 2, 3};
        std::vector<float> ages;
        std::unordered_map<std::int32_t, std::int32_t> freq;
        std::vector<std::int32_t> top;
        failing([&] { mLearner.accessDataPtAge(series, ages); });
        failing([&] { mLearner.countFrequentElem(series, freq); });
        freq = {{1, 5}, {2, 3}};
        failing([&] { mLearner.topFrequentElem(freq, top); });
        mLearner.topFrequentElem(freq, top);
        mLearner.getYoungest({1}, {1.0F}, {});
        mLearner.getYoungest({1, 9}, {1.0F}, {9});
        failingProduct([&] { mLearner.getYoungest({1, 2}, {}, {}); });
        failingProduct([&] { mLearner.calculateEndp(1, {1}, 1, 1); });
        mPeer.history = {{9, 9, 5}, {1, 1, 5}};
        failingProduct([&] { mLearner.concludeEp(0); });
        mPeer.setLaunchType(1, 1);
        mLearner.concludeEp(0);
        mLearner.churnForStablizingPoints(0, 5);
    }

    /// Locks whose second taking by a thread is an error that the lock reports.
    template <typename Operation>
    void failingLock(pthread_mutex_t* mutex, Operation operation) {
        const pthread_mutex_t before = *mutex;
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(mutex, &attributes);
        pthread_mutex_lock(mutex);
        operation();
        pthread_mutex_unlock(mutex);
        *mutex = before;
    }

    void lockFailures() {
        failingLock(mPeer.stateMutex.native_handle(), [this] { mLearner.Reset(); });
        failingLock(mPeer.dataMutex.native_handle(), [this] { mLearner.clearAll(); });
        failingLock(mPeer.pidMapMutex.native_handle(), [this] { mLearner.getPidFromMap(mApp); });
    }

    std::string mApp = "lines.of." + std::to_string(getpid());
    device::Child mProcess = device::Child::named(mApp);
    std::string mChild;
    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
};

TEST(LogLinesTest, EveryLineIsInTheTableAndAppearsExactlyFromItsGateOn) {
    constexpr std::size_t kRowCount = sizeof(kRows) / sizeof(kRows[0]);
    std::vector<std::regex> patterns;
    for (const Row& row : kRows)
        patterns.push_back(patternOf(row.format));
    for (const unsigned level : {0U, 1U, 2U, 3U, 4U, 0xffU, 0x100U, 0x103U}) {
        SCOPED_TRACE(level);
        std::vector<int> seen(kRowCount);
        LogCapture log(level);
        Scenario().run();
        for (const LogLine& line : log.lines()) {
            int matches = 0;
            for (std::size_t i = 0; i < kRowCount; ++i) {
                const Row& row = kRows[i];
                if (line.tag != row.tag || line.function != row.function ||
                    line.priority != (row.gate == kError ? 6 : 3) ||
                    (row.line == kSourceLine ? line.line < 1 : line.line != row.line) ||
                    !std::regex_match(line.text, patterns[i])) {
                    continue;
                }
                ++seen[i];
                ++matches;
            }
            ASSERT_GE(matches, 1) << line.tag << " " << line.function << "() " << line.line << " "
                                  << line.priority << ": " << line.text;
        }
        for (std::size_t i = 0; i < kRowCount; ++i) {
            const bool isExpected = kRows[i].isReached && (level & 0xffU) >= kRows[i].gate;
            EXPECT_EQ(seen[i] > 0, isExpected) << kRows[i].function << ": " << kRows[i].format;
        }
    }
}

TEST(LogLinesTest, LevelIsAskedAnewForEachLine) {
    OrvoLearner learner;
    LogCapture log(3);
    log.onLine = [](const LogLine&) { setTavoLogLevel(0); };
    learner.clearAll();
    EXPECT_THAT(log.texts(), testing::ElementsAre("clearAll"));
}

}  // namespace
