// The table of all log lines (tests/data/log_lines.txt): text, priority, gate,
// function and stated line. One scenario reaches them, at levels around each gate.
// gate.
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <pthread.h>
#include <regex>
#include <sstream>
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

struct Row {
    std::string tag, function, gate, line, reached;
    std::regex pattern;

    bool isError() const { return gate == "-"; }
    bool isExpectedAt(unsigned level) const {
        const bool isReached = reached == "always" || (reached == "lock" && kIsLockFailureReached);
        return isReached && (isError() || (level & 0xffU) >= std::stoul(gate));
    }
    bool matches(const LogLine& l) const {
        return l.tag == tag && l.function == function && l.priority == (isError() ? 6 : 3) &&
               (line == "-" ? l.line > 0 : l.line == std::stoi(line)) &&
               std::regex_match(l.text, pattern);
    }
};

/// What a format can give.
std::regex patternOf(std::string format) {
    const std::pair<const char*, const char*> steps[] = {
        {R"([.*+?^${}()|[\]])", R"(\$&)"},
        {"%f", R"(-?\d+\.\d{6})"},
        {"%l?[du]", R"(-?\d+)"},
        {"%s", "[^]*"},
    };
    for (const auto& [what, by] : steps)
        format = std::regex_replace(format, std::regex(what), by);
    return std::regex(format);  // "\n" is a line feed there too
}

std::vector<Row> readTable() {
    std::ifstream file(ORVO_TEST_DATA_DIR "/log_lines.txt");
    std::vector<Row> rows;
    for (std::string text; std::getline(file, text);) {
        if (text[0] == '#') continue;
        std::istringstream fields(text);
        Row row;
        fields >> row.tag >> row.function >> row.gate >> row.line >> row.reached;
        std::getline(fields >> std::ws, text);
        row.pattern = patternOf(text);
        rows.push_back(row);
    }
    return rows;
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
    static void failing(const std::function<void()>& operation) {
        allocation_faults::happensAt(
            0, [] { throw std::bad_alloc(); }, operation);
        allocation_faults::happensAt(
            0, [] { throw 5; }, operation);
    }

    /// The same for the float product.
    static void failingProduct(const std::function<void()>& operation) {
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
        framework().tables["OrvoStatus"] = {{mApp, {0, 499}}};
        setData(1, mApp, message);
        framework().tables["OrvoLearning"] = {{mApp, {3}}};
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
            framework().tables["OrvoStatus"] = {{mApp, {0, 1}}};
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
        framework().tables["OrvoLearning"].assign(4, {mApp, {100}});
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
    const std::vector<Row> rows = readTable();
    ASSERT_GT(rows.size(), 100U);
    for (const unsigned level : {0U, 1U, 2U, 3U, 4U, 0xffU, 0x100U, 0x103U}) {
        SCOPED_TRACE(level);
        LogCapture log(level);
        Scenario().run();
        std::vector<int> seen(rows.size());
        for (const LogLine& line : log.lines()) {
            bool isKnown = false;
            for (std::size_t i = 0; i < rows.size(); ++i) {
                if (!rows[i].matches(line)) continue;
                ++seen[i];
                isKnown = true;
            }
            ASSERT_TRUE(isKnown) << line.tag << " " << line.function << "() " << line.line << " "
                                 << line.priority << ": " << line.text;
        }
        for (std::size_t i = 0; i < rows.size(); ++i)
            EXPECT_EQ(seen[i] > 0, rows[i].isExpectedAt(level)) << "row " << i + 1;
    }
}

TEST(LogLinesTest, LevelIsAskedAnewForEachLine) {
    OrvoLearner learner;
    LogCapture log(3);
    log.onLine = [](const LogLine&) { setTavoLogLevel(0); };
    learner.clearAll();
    EXPECT_EQ(log.take(), "clearAll");
}

}  // namespace
