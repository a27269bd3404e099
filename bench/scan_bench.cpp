// Finding a process by its command line among many tasks: the library, raw
// system calls, pidof and pgrep. Needs the device root, whose task list it
// writes and whose /proc holds nearly nothing but the bench's own processes.
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/topics.h"
#include "host/base/unique_fd.h"
#include "learner/orvo_learner.h"

namespace {

constexpr char kTasksPath[] = "/dev/cpuset/top-app/tasks";
constexpr char kPackage[] = "com.example.bench.target";

// Processes in the task list: many that sleep, and last the one looked for.
class TaskList {
public:
    void growTo(std::size_t tasks) {
        mTarget.reset();
        while (mOthers.size() + 1 < tasks)
            mOthers.emplace_back([] { pause(); });
        // cat waits for its input without end; its name is the whole command line.
        mTarget = std::make_unique<Child>([this] {
            dup2(mInput.readEnd.get(), STDIN_FILENO);
            close(mInput.writeEnd.get());
            execl("/bin/cat", kPackage, nullptr);
        });
        std::ofstream file(kTasksPath, std::ios::trunc);
        for (const pid_t pid : pids())
            file << pid << '\n';
        if (!file.flush()) throw std::runtime_error(std::string("cannot write ") + kTasksPath);
        awaitTargetsName();
    }

    std::vector<pid_t> pids() const {
        std::vector<pid_t> all;
        for (const Child& other : mOthers)
            all.push_back(other.pid());
        all.push_back(target());
        return all;
    }
    pid_t target() const { return mTarget->pid(); }

private:
    void awaitTargetsName() const {
        std::string name;
        while (name != kPackage) {
            usleep(1000);
            std::ifstream file("/proc/" + std::to_string(target()) + "/cmdline");
            std::getline(file, name, '\0');
        }
    }

    host::Pipe mInput;
    std::vector<Child> mOthers;
    std::unique_ptr<Child> mTarget;
};

// Opens, reads and closes the command line of each task; the task whose name
// is the package's, or -1.
pid_t rawScan(const std::vector<pid_t>& tasks) {
    char path[32];
    char text[4096];
    for (const pid_t task : tasks) {
        std::snprintf(path, sizeof(path), "/proc/%d/cmdline", task);
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        if (file < 0) continue;
        const ssize_t got = read(file, text, sizeof(text) - 1);
        close(file);
        if (got <= 0) continue;
        text[got] = '\0';
        if (std::strcmp(text, kPackage) == 0) return task;
    }
    return -1;
}

// Times `find`, which must come to the target.
template <typename Find>
void timeScan(Session& session, const std::string& name, const TaskList& tasks, Find find) {
    session.add(name, [&tasks, find](benchmark::State& state) {
        for (auto _ : state) {
            if (find() == tasks.target()) continue;
            state.SkipWithError("did not find the process");
            break;
        }
    });
}

void benchScanOf(std::size_t size, double rawLimit, Session& session, TaskList& tasks) {
    tasks.growTo(size);
    const std::vector<pid_t> ids = tasks.pids();
    OrvoLearner learner;
    std::string package = kPackage;
    timeScan(session, "library", tasks, [&] { return learner.getPidExpensive(package); });
    timeScan(session, "raw", tasks, [&] { return rawScan(ids); });
    timeScan(session, "pidof", tasks, [] {
        return std::atoi(outputOf({"pidof", "-x", kPackage}).c_str());
    });
    timeScan(session, "pgrep", tasks, [] {
        return std::atoi(outputOf({"pgrep", "-f", "-x", kPackage}).c_str());
    });
    session.run();

    const std::string what = "scan of " + std::to_string(size) + " tasks, hit last";
    session.table().atMost(what, "raw open/read/close of each cmdline",
                           session.ratio("library", "raw"), rawLimit, "times");
    session.table().atLeast(what + ": times faster than", "pidof -x",
                            session.ratio("pidof", "library", Clock::kWall), 3);
    session.table().atLeast(what + ": times faster than", "pgrep -f -x",
                            session.ratio("pgrep", "library", Clock::kWall), 3);
}

}  // namespace

void benchScan(const Effort& effort, Table& table) {
    Session session("scan", effort, table);
    TaskList tasks;
    benchScanOf(100, 1.3, session, tasks);
    benchScanOf(1000, 1.15, session, tasks);
    benchScanOf(5000, 1.15, session, tasks);
}
