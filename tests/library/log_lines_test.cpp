// The table of all log lines (tests/data/log_lines.txt). Whatever the tests make
// the library write is checked against it: text, tag, function, priority, gate
// and stated line. Where all of them run in one process, every line has to come.
#include <fnmatch.h>
#include <fstream>
#include <gtest/gtest.h>
#include <pthread.h>
#include <regex>
#include <sstream>

#include "host/dump/learner_peer.h"
#include "platform/tavo_log.h"
#include "tests/support/log_capture.h"

namespace {

#if defined(ORVO_HARDENED_LOCKING) || defined(__SANITIZE_THREAD__)
constexpr bool kIsLockFailureReached = false;  // the failing lock is another one, or is reported
#else
constexpr bool kIsLockFailureReached = true;
#endif

struct Row {
    std::string tag, function, gate, line, reached, pattern;
    bool isSeen = false;  // at the very level of its gate

    bool isError() const { return gate == "-"; }
    bool isReached() const {
        return reached == "always" || (reached == "lock" && kIsLockFailureReached);
    }
    bool matches(const LogLine& l) const {
        return l.tag == tag && l.function == function && l.priority == (isError() ? 6 : 3) &&
               (line == "-" ? l.line > 0 : l.line == std::stoi(line)) &&
               fnmatch(pattern.c_str(), l.text.c_str(), 0) == 0;
    }
};

// What a format can give, as a wildcard pattern.
std::string patternOf(std::string format) {
    const std::pair<const char*, const char*> steps[] = {
        {R"(\\n)", "\n"}, {R"([*?[])", R"(\$&)"}, {"%l?[dfsu]", "*"}};
    for (const auto& [what, by] : steps)
        format = std::regex_replace(format, std::regex(what), by);
    return format;
}

class LogLinesTable : public testing::Environment {
public:
    void SetUp() override {
        std::ifstream file(ORVO_TEST_DATA_DIR "/log_lines.txt");
        for (std::string text; std::getline(file, text);) {
            if (text[0] == '#') continue;
            std::istringstream fields(text);
            Row row;
            fields >> row.tag >> row.function >> row.gate >> row.line >> row.reached;
            std::getline(fields >> std::ws, text);
            row.pattern = patternOf(text);
            mRows.push_back(row);
        }
        LogCapture::mOnAnyLine = [this](const LogLine& line) { check(line); };
    }

    void TearDown() override {
        LogCapture::mOnAnyLine = nullptr;
        const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
        if (tests.test_to_run_count() < tests.total_test_count()) return;
        for (const Row& row : mRows) {
            EXPECT_TRUE(row.isSeen || !row.isReached())
                << row.function << "() " << row.line << ": " << row.pattern;
        }
    }

private:
    void check(const LogLine& line) {
        const unsigned level = getTavoLogLevel() & 0xffU;
        bool isDue = false;
        for (Row& row : mRows) {
            if (!row.matches(line)) continue;
            const bool isAtGate = row.isError() || level == std::stoul(row.gate);
            row.isSeen |= isAtGate;
            isDue |= isAtGate || level > std::stoul(row.gate);
        }
        EXPECT_TRUE(isDue) << "at level " << level << ": " << line.tag << " " << line.function
                           << "() " << line.line << " " << line.priority << ": " << line.text;
    }

    std::vector<Row> mRows;
};

[[maybe_unused]] testing::Environment* const kTable =
    testing::AddGlobalTestEnvironment(new LogLinesTable);

TEST(LogLinesTest, GateIsComparedWithTheLowByteOfTheLevelAskedAnewForEachLine) {
    OrvoLearner learner;
    for (const unsigned level : {0U, 2U, 3U, 0xffU, 0x100U, 0x102U, 0x103U}) {
        LogCapture log(level);
        log.onLine = [](const LogLine&) { setTavoLogLevel(2); };
        learner.clearAll();
        EXPECT_EQ(log.take(), (level & 0xffU) >= 3 ? "clearAll" : "") << level;
    }
}

// Makes the lock one that reports its second taking by a thread.
template <typename Mutex, typename Operation>
void failingLock(Mutex& mutex, Operation operation) {
    const pthread_mutex_t reporting = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
    *mutex.native_handle() = reporting;
    const std::lock_guard<Mutex> lock(mutex);
    operation();
}

TEST(LogLinesTest, FailedLockIsReportedByTheOperationThatWantedIt) {
    if (!kIsLockFailureReached) GTEST_SKIP();
    std::string app = "app";
    OrvoLearner learner;
    const OrvoLearnerPeer peer(learner);
    LogCapture log;
    failingLock(peer.stateMutex, [&] { learner.Reset(); });
    failingLock(peer.dataMutex, [&] { learner.clearAll(); });
    failingLock(peer.pidMapMutex, [&] { learner.getPidFromMap(app); });
    EXPECT_EQ(log.count("exception"), 3);
}

}  // namespace
