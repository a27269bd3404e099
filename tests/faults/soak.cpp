// orvo-soak: mixed operations on a thousand packages from eight threads, for as
// long as asked, on the real database. Ends with code 1 when an operation fails,
// a launch count does not add up, or memory or descriptors grow after a warm-up.
//   orvo-soak SECONDS FOLDER     in a device root; FOLDER: for the state, emptied
#include <android/log.h>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "feature/orvo.h"
#include "framework/tavodb/schema.h"
#include "framework/tavodb/sqlite.h"
#include "tests/support/device.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr unsigned kThreads = 8;
constexpr unsigned kPackages = 1000;
constexpr std::int32_t kRelearnAt = 499;
constexpr long kGrowthLimitKb = 2048;

std::atomic<long> gFailures{0};
std::atomic<long> gOperations{0};

void fail(const std::string& what) {
    if (++gFailures <= 20) std::fprintf(stderr, "orvo-soak: %s\n", what.c_str());
}

// Lines of error priority that tell of no failure, or of a process that is not
// there, which most packages here have none of.
bool isExpected(const char* line) {
    for (const char* const part :
         {"UPDATE_FD_INFO", "PID from Map", "dump property not set", "Failed to fetch samples",
          "Failed to get pid", "Giving up on hunt", "Could not find pid"}) {
        if (std::strstr(line, part) != nullptr) return true;
    }
    return false;
}

void takeLine(const __android_logger_data* data, const char* line) {
    if (data->priority >= ANDROID_LOG_ERROR && !isExpected(line)) fail(line);
}

/// What one thread does, all of it on packages of its own or on the one whose
/// process exists.
class Worker {
public:
    explicit Worker(unsigned number) : mNumber(number), mRandom(number) {}

    void runUntil(Clock::time_point end) {
        while (Clock::now() < end) {
            std::string app = "soak." + std::to_string(mRandom() % kPackages / kThreads) + '.' +
                              std::to_string(mNumber);
            operate(app);
            ++gOperations;
        }
    }

    const std::map<std::string, std::int32_t>& counts() const { return mCounts; }

private:
    void operate(std::string& app) {
        const unsigned long kind = mRandom() % 100;
        if (kind < 50) {
            launch(app);
        } else if (kind < 60) {
            expect(getData(ORVO_GET_FINAL_ENDPOINT, app) == 0, "final endpoint of " + app);
        } else if (kind < 70) {
            expect(getData(ORVO_GET_SAMPLE_AVERAGE, app) == 0, "average of " + app);
        } else if (kind < 80) {
            expect(getData(ORVO_GET_PID, app) == 1, "pid of " + app);
        } else if (kind < 90) {
            sendFdInfo(app);
        } else if (kind < 91) {
            expect(setData(ORVO_SET_ERASE, app, nullptr) == 0, "erasure of " + app);
            mCounts[app] = 0;
        } else if (kind < 95) {
            expect(setData(ORVO_SET_STOP, app, nullptr) == 0, "stop");
        } else {
            learnTheLivingApp();
        }
    }

    void launch(std::string& app) {
        std::int32_t message[2] = {1 + static_cast<std::int32_t>(mRandom() % 2), 0};
        expect(setData(ORVO_SET_LAUNCH, app, message) == 0, "launch of " + app);
        std::int32_t& count = mCounts[app];
        count = count == kRelearnAt ? 0 : count + 1;
    }

    void sendFdInfo(std::string& app) {
        char message[4 + 2 * 4] = {};
#ifdef ORVO_HARDENED_LOCKING
        message[0] = 2;
#endif
        expect(setData(ORVO_SET_FD_INFO, app, message) == 0, "descriptor counts");
    }

    // Gives it the time of some samples, unless another thread's launch comes first.
    static void learnTheLivingApp() {
        std::string app = "soak.living";
        std::int32_t message[2] = {1, 0};
        expect(setData(ORVO_SET_LAUNCH, app, message) == 0, "launch of the living app");
        usleep(300'000);
    }

    static void expect(bool condition, const std::string& what) {
        if (!condition) fail("a wrong result: " + what);
    }

    const unsigned mNumber;
    std::mt19937 mRandom;
    std::map<std::string, std::int32_t> mCounts;
};

void compareCounts(const std::string& database, const std::vector<Worker>& workers) {
    std::map<std::string, std::int32_t> stored;
    tavodb::Connection connection;
    tavodb::Statement rows;
    connection.open(database, tavodb::Connection::Access::kReadOnly);
    rows.prepare(connection, tavodb::selectAllSql("OrvoStatus"));
    while (rows.step() == tavodb::Outcome::kRow) {
        const tavodb::Bytes app = rows.column(0);
        std::memcpy(&stored[{static_cast<const char*>(app.data), app.size}],
                    static_cast<const char*>(rows.column(1).data) + 4, sizeof(std::int32_t));
    }
    for (const Worker& worker : workers) {
        for (const auto& [app, count] : worker.counts()) {
            if (stored[app] == count) continue;
            fail(app + " was launched " + std::to_string(count) + " times and has " +
                 std::to_string(stored[app]));
        }
    }
}

struct Usage {
    long memoryKb = 0;
    std::ptrdiff_t descriptors = 0;

    static Usage now() {
        Usage usage;
        std::ifstream statm("/proc/self/statm");
        long whole = 0;
        statm >> whole >> usage.memoryKb;
        usage.memoryKb *= sysconf(_SC_PAGESIZE) / 1024;
        usage.descriptors =
            std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
        return usage;
    }
};

void checkGrowth(const Usage& warm, const Usage& end) {
    std::printf("memory %ld kB after the warm-up, %ld kB at the end; descriptors %td and %td\n",
                warm.memoryKb, end.memoryKb, warm.descriptors, end.descriptors);
    if (end.memoryKb > warm.memoryKb + kGrowthLimitKb) fail("memory has grown");
    if (end.descriptors > warm.descriptors) fail("descriptors have grown");
}

void soak(std::chrono::seconds duration, const std::string& folder) {
    const std::string database = folder + "/orvo.db";
    setenv("TAVO_DB_PATH", database.c_str(), 1);
    __android_log_set_logger(takeLine);
    const device::Child living = device::Child::named("soak.living");
    device::setTasks(std::to_string(living.pid()));
    std::string none;
    if (setData(ORVO_SET_INIT, none, nullptr) != 0) fail("the initialise operation");

    std::vector<Worker> workers;
    for (unsigned i = 0; i < kThreads; ++i)
        workers.emplace_back(i);
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (Worker& worker : workers)
        threads.emplace_back([&, end = start + duration] { worker.runUntil(end); });
    std::this_thread::sleep_until(start + duration / 3);
    const Usage warm = Usage::now();
    std::this_thread::sleep_until(start + duration * 99 / 100);
    checkGrowth(warm, Usage::now());
    for (std::thread& thread : threads)
        thread.join();
    compareCounts(database, workers);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || std::atoi(argv[1]) < 1) {
        std::fprintf(stderr, "orvo-soak: wrong arguments; orvo-soak SECONDS FOLDER\n");
        _exit(2);
    }
    fs::remove_all(argv[2]);
    soak(std::chrono::seconds(std::atoi(argv[1])), argv[2]);
    std::printf("%ld operations, %ld failures\n", gOperations.load(), gFailures.load());
    std::fflush(stdout);
    _exit(gFailures == 0 ? 0 : 1);  // not exit: the learning thread is never joined
}
