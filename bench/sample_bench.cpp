// One sample of a process's memory and OOM score, read by the library, by a
// minimal reader on held descriptors, and by libproc2.
#include <android/log.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <libproc2/pids.h>
#include <memory>
#include <string>
#include <sys/mman.h>

#include "bench/child.h"
#include "bench/raw_store.h"
#include "bench/syscall_count.h"
#include "bench/topics.h"
#include "host/base/file_content.h"
#include "host/base/unique_fd.h"
#include "host/dump/learner_peer.h"
#include "host/library/launch_watch.h"
#include "host/root/scratch_folder.h"

namespace {

struct Sample {
    std::int32_t memoryKb = 0;
    std::int32_t score = 0;
};

bool operator!=(const Sample& a, const Sample& b) {
    return a.memoryKb != b.memoryKb || a.score != b.score;
}

std::int32_t fieldKb(const std::string& text, const char* key) {
    const std::size_t at = text.find(key);
    return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + std::strlen(key));
}

// A process that changes its memory and its score on command, and sleeps
// otherwise. What it shows meanwhile is therefore known exactly.
class Subject {
public:
    Subject() : mChild([this] { obey(); }) { change(); }

    std::string path(const char* file) const {
        return "/proc/" + std::to_string(mChild.pid()) + "/" + file;
    }
    pid_t pid() const { return mChild.pid(); }

    // Grows or shrinks by some MiB and moves the score.
    void change() {
        mIsGrown = !mIsGrown;
        const char command = mIsGrown ? 'g' : 's';
        char done = 0;
        if (write(mCommands.writeEnd.get(), &command, 1) != 1 ||
            read(mReplies.readEnd.get(), &done, 1) != 1)
            throwErrno("subject");
        std::ofstream(path("oom_score_adj")) << (mIsGrown ? 200 : 100);
        const std::string status = host::contentOf(path("status"));
        mTruth.memoryKb = fieldKb(status, "RssAnon:") + fieldKb(status, "VmSwap:");
        mTruth.score = std::atoi(host::contentOf(path("oom_score")).c_str());
    }

    // What a fresh read of the process's files shows now.
    const Sample& truth() const { return mTruth; }

private:
    static constexpr std::size_t kStepBytes = 4 << 20;

    void obey() {
        void* const step =
            mmap(nullptr, kStepBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        char command = 0;
        while (read(mCommands.readEnd.get(), &command, 1) == 1) {
            if (command == 'g') {
                std::memset(step, 1, kStepBytes);
            } else {
                madvise(step, kStepBytes, MADV_DONTNEED);
            }
            if (write(mReplies.writeEnd.get(), &command, 1) != 1) return;
        }
    }

    host::Pipe mCommands;
    host::Pipe mReplies;
    Child mChild;
    bool mIsGrown = false;
    Sample mTruth;
};

class LibraryReader {
public:
    explicit LibraryReader(const Subject& subject)
        : mStatus(std::fopen(subject.path("status").c_str(), "r")),
          mScore(std::fopen(subject.path("oom_score").c_str(), "r")) {}
    ~LibraryReader() {
        std::fclose(mStatus);
        std::fclose(mScore);
    }

    Sample sample() {
        mPeer.takeSample(mStatus, mScore);
        return {mPeer.vmRss.back(), mPeer.oomScore.back()};
    }
    void startOver() { mLearner.clearAll(); }

private:
    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
    std::FILE* mStatus;
    std::FILE* mScore;
};

// The two lines that the library writes of one sample where it runs in the host.
void writeLinesOfASample() {
    constexpr const char* kTag = "TAVO-ORVO-LEARNER";
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: %s() %d: Process total rss = %d\n", kTag,
                        "getProcessVmRss", 134, 41180);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: %s() %d: nread=%d OmmScore (%d)", kTag,
                        "getProcessOMMScore", 151, 4, 667);
}

void timeLines(Session& session) {
    session.add("lines", [](benchmark::State& state) {
        __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        for (auto _ : state)
            writeLinesOfASample();
    });
    session.add("followed lines", [](benchmark::State& state) {
        const host::ScratchFolder folder;
        host::LogSink sink(folder.path() + "/orvo.log", 3, false);
        host::LaunchWatch watch(sink);
        for (auto _ : state)
            writeLinesOfASample();
        const host::RecordedLaunch launch = watch.recorded();
        if (launch.series[host::Metric::kVmRss].empty() ||
            launch.series[host::Metric::kOomScore].empty())
            state.SkipWithError("the lines were not taken for samples");
    });
}

class PreadReader {
public:
    explicit PreadReader(const Subject& subject)
        : mStatus(open(subject.path("status").c_str(), O_RDONLY | O_CLOEXEC)),
          mScore(open(subject.path("oom_score").c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~PreadReader() {
        close(mStatus);
        close(mScore);
    }

    Sample sample() {
        char text[4096];
        fill(mStatus, text, sizeof(text));
        const char* const anonymous = std::strstr(text, "RssAnon:");
        const char* const swapped = anonymous ? std::strstr(anonymous, "VmSwap:") : nullptr;
        if (!swapped) return {};
        const std::int32_t memoryKb = std::atoi(anonymous + 8) + std::atoi(swapped + 7);
        fill(mScore, text, sizeof(text));
        return {memoryKb, std::atoi(text)};
    }
    void startOver() {}

private:
    static void fill(int file, char* text, std::size_t size) {
        const ssize_t got = pread(file, text, size - 1, 0);
        text[got > 0 ? got : 0] = '\0';
    }

    int mStatus;
    int mScore;
};

class Libproc2Reader {
public:
    explicit Libproc2Reader(const Subject& subject) : mPid(static_cast<unsigned>(subject.pid())) {
        std::array<pids_item, 3> items = {PIDS_VM_RSS_ANON, PIDS_VM_SWAP, PIDS_OOM_SCORE};
        if (procps_pids_new(&mInfo, items.data(), items.size()) < 0) throwErrno("procps_pids_new");
    }
    ~Libproc2Reader() { procps_pids_unref(&mInfo); }

    Sample sample() {
        const pids_fetch* const found = procps_pids_select(mInfo, &mPid, 1, PIDS_SELECT_PID);
        if (!found || found->counts->total != 1) return {};
        const pids_result* const values = found->stacks[0]->head;
        return {static_cast<std::int32_t>(values[0].result.ul_int + values[1].result.ul_int),
                values[2].result.s_int};
    }
    void startOver() {}

private:
    unsigned mPid;
    pids_info* mInfo = nullptr;
};

// Each sample is compared with the truth, which changes every few samples: a
// reader that repeats what it has read before fails at once.
template <typename Reader>
void timeSamples(Session& session, const char* name, Subject& subject) {
    session.add(name, [&subject](benchmark::State& state) {
        constexpr int kSamplesPerChange = 64;
        Reader reader(subject);
        int untilChange = 0;
        for (auto _ : state) {
            if (untilChange-- == 0) {
                state.PauseTiming();
                subject.change();
                reader.startOver();
                untilChange = kSamplesPerChange;
                state.ResumeTiming();
            }
            if (reader.sample() != subject.truth()) {
                state.SkipWithError("a sample that is not what the process shows");
                break;
            }
        }
    });
}

double systemCallsPerSample(const Subject& subject) {
    constexpr int kSamples = 100;
    LibraryReader reader(subject);
    const std::int64_t calls = countSystemCalls([&reader] { reader.sample(); },
                                                [&reader] {
                                                    for (int i = 0; i < kSamples; ++i)
                                                        reader.sample();
                                                });
    return static_cast<double>(calls) / kSamples;
}

}  // namespace

void benchSample(const Effort& effort, Table& table) {
    Session session("sample", effort, table);
    Subject subject;
    timeSamples<LibraryReader>(session, "library", subject);
    timeSamples<PreadReader>(session, "pread", subject);
    timeSamples<Libproc2Reader>(session, "libproc2", subject);
    timeLines(session);
    session.run();

    table.atMost("one sample, status and score", "held descriptors, pread, minimal parse",
                 session.ratio("library", "pread"), 1.35, "times");
    table.atLeast("one sample: times faster than", "libproc2", session.ratio("libproc2", "library"),
                  3.8);
    table.tell("libproc2, one sample", "held descriptors, pread, minimal parse",
               session.ratio("libproc2", "pread"), "times");
    const double linesShare = session.ratio("lines", "library");
    table.tell("the log lines of one sample", "one sample", linesShare, "times");
    table.atMost("following these lines, as the host does", "one sample",
                 session.ratio("followed lines", "library") - linesShare, 0.1, "times");
    table.atMost("one sample: system calls", "", systemCallsPerSample(subject), 5);
}
