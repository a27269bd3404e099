// What orvo-host does while the library samples a launch, in the same process.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/child.h"
#include "bench/raw_store.h"
#include "bench/topics.h"
#include "host/base/file_content.h"
#include "host/root/scratch_folder.h"

namespace {

// Paths that the build knows.
constexpr char kHost[] = ORVO_BENCH_HOST;
constexpr char kSampleApp[] = ORVO_BENCH_SAMPLE_APP;

// orvo-host, making one launch that it samples for twenty seconds at least, under the
// package's name: two in one task list would find each other's processes.
Child launchingHost(const std::string& state, const char* verb, const char* package,
                    const std::vector<const char*>& options) {
    return Child([=] {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        std::vector<const char*> words{kHost,    "--state", state.c_str(),  verb, package,
                                       "--type", "2",       "--look-after", "0"};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--", kSampleApp, nullptr});
        execv(kHost, const_cast<char* const*>(words.data()));
        _exit(127);
    });
}

void awaitSampling(const std::string& log) {
    for (int waitedMs = 0; waitedMs < 5000; waitedMs += 50) {
        const std::string text = host::contentOf(log);
        if (text.find("Decided Samples = ") != std::string::npos) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("orvo-host has not begun to sample");
}

// Processor time by who uses it.
struct Usage {
    double hostNs = 0;     // the program's first thread
    double libraryNs = 0;  // the library's, in the same process

    Usage operator-(const Usage& before) const {
        return {hostNs - before.hostNs, libraryNs - before.libraryNs};
    }
};

Usage usageOf(pid_t process) {
    Usage usage;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        double ns = 0;
        std::ifstream(task.path() / "schedstat") >> ns;
        const bool isFirst = task.path().filename() == std::to_string(process);
        (isFirst ? usage.hostNs : usage.libraryNs) += ns;
    }
    return usage;
}

}  // namespace

void benchHost(const Effort& effort, Table& table) {
    constexpr int kMsPerRound = 500;
    const host::ScratchFolder folder;
    const char* const uncounted = "--no-fd-counts";
    const Child learning = launchingHost(folder.path() + "/learn", "learn", "bench.learn",
                                         {"--launches", "1", uncounted});
    const Child measuring = launchingHost(folder.path() + "/measure", "measure", "bench.measure",
                                          {"--runs", "1", uncounted});
    const Child counting =
        launchingHost(folder.path() + "/count", "learn", "bench.count", {"--launches", "1"});
    for (const char* log : {"learn/orvo.log", "measure/orvo.log", "count/orvo.log"})
        awaitSampling(folder.path() + '/' + log);
    const Usage learnBefore = usageOf(learning.pid());
    const Usage measureBefore = usageOf(measuring.pid());
    const Usage countBefore = usageOf(counting.pid());
    std::this_thread::sleep_for(std::chrono::milliseconds(kMsPerRound * effort.rounds));
    const Usage learn = usageOf(learning.pid()) - learnBefore;
    const Usage measure = usageOf(measuring.pid()) - measureBefore;
    const Usage count = usageOf(counting.pid()) - countBefore;
    for (const Child* host : {&learning, &measuring, &counting}) {
        kill(host->pid(), SIGTERM);  // so that it ends what it has launched
        waitpid(host->pid(), nullptr, 0);
    }

    if (learn.libraryNs <= 0 || measure.libraryNs <= 0 || count.libraryNs <= 0)
        return table.fail("host", "the library's thread has not run");
    table.atMost("orvo-host's own thread while the library samples, no descriptors counted",
                 "the library's thread", learn.hostNs / learn.libraryNs, 0.1, "times");
    table.atMost("the same with descriptors counted and sent", "the library's thread",
                 count.hostNs / learn.libraryNs, 1.0, "times");
    table.atMost("of a launch that is measured, not learned, none counted", "the library's thread",
                 measure.hostNs / measure.libraryNs, 0.1, "times");
    table.atMost("all of measure while the library samples", "all of learn beside it",
                 (measure.hostNs + measure.libraryNs) / (learn.hostNs + learn.libraryNs), 1.05,
                 "times");
}
