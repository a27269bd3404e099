// orvo-sample-app: a program whose true settling time is known. It grows and
// settles on a schedule, prints when it did, and stays until it is ended.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "host/base/exit_code.h"
#include "host/base/options.h"
#include "host/base/printable.h"

namespace {

constexpr std::size_t kKilobyte = 1024;
constexpr int kNoisePeriodMs = 10;

struct Schedule {
    int baseKb = 8192;
    int steps = 8;
    int stepKb = 4096;
    int stepMs = 80;
    int restMs = 0;
    int noiseKb = 0;
    int dropKb = 0;
    int children = 0;
    bool detached = false;
    bool ignoresTerm = false;
    int exitAfterMs = -1;
    std::string truthFile;
};

double nowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The launch's own moment where the launcher tells it, in ns; else now, which
// is later by what it took to load the program.
double launchMomentMs() {
    const char* moment = std::getenv("ORVO_LAUNCH_NS");
    return moment == nullptr ? nowMs() : std::strtod(moment, nullptr) / 1e6;
}

// Anonymous memory that is all resident.
class Memory {
public:
    void grow(int kb) {
        if (kb <= 0) return;
        const std::size_t size = static_cast<std::size_t>(kb) * kKilobyte;
        void* const block =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) {
            std::perror("orvo-sample-app: mmap");
            std::exit(1);
        }
        std::memset(block, 1, size);
        mBlocks.push_back({block, size});
    }

    // Gives back whole blocks, newest first, and part of one.
    void shrink(int kb) {
        std::size_t rest = static_cast<std::size_t>(std::max(kb, 0)) * kKilobyte;
        while (rest > 0 && !mBlocks.empty()) {
            Block& block = mBlocks.back();
            const std::size_t part = std::min(rest, block.size);
            block.size -= part;
            munmap(static_cast<char*>(block.start) + block.size, part);
            rest -= part;
            if (block.size == 0) mBlocks.pop_back();
        }
    }

private:
    struct Block {
        void* start;
        std::size_t size;
    };
    std::vector<Block> mBlocks;
};

class App {
public:
    explicit App(const Schedule& schedule) : mSchedule(schedule), mStartMs(launchMomentMs()) {}

    [[noreturn]] void run() {
        startChildren();
        mMemory.grow(mSchedule.baseKb);
        for (int step = 1; step <= mSchedule.steps; ++step) {
            const int restMs = step == mSchedule.steps ? mSchedule.restMs : 0;
            waitUntil(static_cast<double>(step) * mSchedule.stepMs + restMs);
            mMemory.grow(mSchedule.stepKb);
        }
        mMemory.shrink(mSchedule.dropKb);
        tellTruth(nowMs() - mStartMs);
        while (true)
            waitUntil(nowMs() - mStartMs + 1000);
    }

private:
    void startChildren() const {
        for (int i = 0; i < mSchedule.children; ++i) {
            if (fork() != 0) continue;
            if (mSchedule.detached) setsid();
            while (true)
                pause();
        }
    }

    // Sleeps until that time after the launch, with noise, or leaves on the way.
    void waitUntil(double sinceStartMs) {
        while (true) {
            const double elapsedMs = nowMs() - mStartMs;
            if (mSchedule.exitAfterMs >= 0 && elapsedMs >= mSchedule.exitAfterMs) std::exit(0);
            if (elapsedMs >= sinceStartMs) return;
            makeNoise();
            usleep(static_cast<useconds_t>(
                1000 * std::min<double>(kNoisePeriodMs, sinceStartMs - elapsedMs)));
        }
    }

    void makeNoise() {
        if (mSchedule.noiseKb == 0) return;
        if (mIsNoisy) {
            mNoise.shrink(mSchedule.noiseKb);
        } else {
            mNoise.grow(mSchedule.noiseKb);
        }
        mIsNoisy = !mIsNoisy;
    }

    void tellTruth(double settledMs) const {
        const bool toFile = !mSchedule.truthFile.empty();
        std::FILE* const out = toFile ? std::fopen(mSchedule.truthFile.c_str(), "a") : stdout;
        if (out == nullptr) {
            std::perror(("orvo-sample-app: " + mSchedule.truthFile).c_str());
            std::exit(1);
        }
        std::fprintf(out, "%.1f\n", settledMs);
        std::fflush(out);
        if (toFile) std::fclose(out);
    }

    const Schedule mSchedule;
    const double mStartMs;
    Memory mMemory;
    Memory mNoise;
    bool mIsNoisy = false;
};

void describe(host::Program& program, Schedule& schedule) {
    constexpr int kMost = 1 << 20;
    program.option("--base-kb", schedule.baseKb, "Memory at the start").from(0, kMost);
    program.option("--steps", schedule.steps, "Number of growth steps").from(0, kMost);
    program.option("--step-kb", schedule.stepKb, "Growth of one step").from(0, kMost);
    program.option("--step-ms", schedule.stepMs, "Time between steps").from(0, kMost);
    program.option("--rest-ms", schedule.restMs, "Longer time before the last step").from(0, kMost);
    program.option("--noise-kb", schedule.noiseKb, "Memory that comes and goes all the time")
        .from(0, kMost);
    program.option("--drop-kb", schedule.dropKb, "Memory given back after the last step")
        .from(0, kMost);
    program.option("--children", schedule.children, "Processes to start").from(0, 99);
    program.flag("--detached", schedule.detached, "Children leave the process group");
    program.flag("--ignore-term", schedule.ignoresTerm, "Ignore TERM, children included");
    program.option("--exit-after-ms", schedule.exitAfterMs, "Leave early").from(0, kMost);
    program.option("--truth", schedule.truthFile,
                   "File to append the true settling time to, in ms since the launch, one line a\n"
                   "run (default: standard output)");
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an app that fails is one that ends.
int main(int argc, char** argv) {
    Schedule schedule;
    host::Program program("orvo-sample-app",
                          "Grows, settles at a known time, and stays until it is ended.");
    describe(program, schedule);
    try {
        const std::optional<int> answered = program.parseWithoutCommand({argv, argv + argc});
        if (answered) return *answered;
    } catch (const host::HostError& error) {
        std::fprintf(stderr, "orvo-sample-app: %s\n", host::printable(error.what()).c_str());
        return error.code();
    }
    if (schedule.ignoresTerm) std::signal(SIGTERM, SIG_IGN);
    App(schedule).run();
}
