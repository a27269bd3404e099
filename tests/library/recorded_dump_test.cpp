// The host's dump of a launch, from the log lines alone: byte for byte the
// library's own. A program of its own, for the host takes all its log lines.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "feature/orvo.h"
#include "host/dump/dump_name.h"
#include "host/dump/dump_writer.h"
#include "host/library/log_sink.h"
#include "host/root/device_root.h"
#include "learner/orvo_learner.h"
#include "platform/tavo_log.h"
#include "store/orvo_dblayer.h"
#include "tests/host/refusal.h"
#include "tests/support/device.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

namespace {

using device::Child;

#ifdef ORVO_HARDENED_LOCKING
constexpr bool kTakesFdCounts = true;
#else
constexpr bool kTakesFdCounts = false;
#endif

constexpr unsigned kPeriodUs = 30'000;

// A copy of this process under a name without '/', for another has no dump.
Child growingApp() {
    std::memcpy(program_invocation_name, "com.app", sizeof "com.app");  // where the kernel looks
    return Child::growing();
}

struct FdMessage {
    std::uint16_t count;
    std::uint16_t padding;
    std::int32_t entries[2];
};

class RecordedDumpTest : public testing::Test {
protected:
    RecordedDumpTest() {
        framework().reset();
        virtual_time::reset();
        framework().dumpProperty = "true";
        OrvoDBlayer::mOrvoDB.Init();
        mLearner.Init();
        device::setTasks(std::to_string(mChild.pid()));
        mLog.setListener([this](const host::LogLine& line) {
            ++mLines;
            mRecorder.take(line, 0);
        });
        setTavoLogLevel(4);
    }
    ~RecordedDumpTest() override {
        mLog.setListener({});
        OrvoDBlayer::mOrvoDB.DeInit();
        unlink(device::kTasksPath);
        unlink(mPath.c_str());
    }

    // One launch through the learning loop, on this thread.
    void learn(std::int32_t type, std::int32_t subtype) {
        std::int32_t message[2] = {type, subtype};
        setData(ORVO_SET_LAUNCH, mApp, message);
        int sample = 0;
        virtual_time::onSleep = [&](unsigned us) {
            if (us != kPeriodUs) return mLearner.DeInit();  // ends the loop after this launch
            mOnSample(++sample);
            if (kTakesFdCounts && sample % 3 == 0) sendFdCounts(sample);
        };
        mLearner.statsCollector();
        virtual_time::onSleep = nullptr;
    }

    void sendFdCounts(int sample) {
        FdMessage message{2, 0, {sample / 20, 9}};
        setData(ORVO_SET_FD_INFO, mApp, &message);
    }

    // What the library wrote and then what the host writes of the same launch.
    void expectTheSame(std::int32_t type, std::int32_t subtype, const char* end) {
        learn(type, subtype);
        const std::string own = device::contentOf(mPath);
        ASSERT_NE(own.find(end), std::string::npos) << own.substr(0, 500);
        unlink(mPath.c_str());
        const int lines = mLines;
        host::DumpWriter(host::kDumpFolder, 1).write(mApp, mRecorder.launch(), type, subtype);
        EXPECT_EQ(mLines, lines) << "its lines are taken for the library's";
        EXPECT_TRUE(device::contentOf(mPath) == own) << own.size() << " bytes or their like";
        unlink(mPath.c_str());
    }

    OrvoLearner& mLearner = OrvoLearner::mOrvoLearner;
    Child mChild = growingApp();
    std::string mApp = device::nameOf(mChild.pid());
    const std::string mPath = device::dumpPath(mApp);
    std::function<void(int)> mOnSample = [](int) {};
    host::LogSink mLog{"", 0, false};
    host::SeriesRecorder mRecorder;
    int mLines = 0;
};

TEST_F(RecordedDumpTest, EveryKindOfLaunchIsWrittenAsTheLibraryWouldWriteIt) {
    if (mApp != "com.app") GTEST_SKIP() << "an emulator's name is seen instead";
    mOnSample = [this](int sample) {
        if (sample <= 20 || sample == 150) mChild.grow(1);
    };
    expectTheSame(1, 0, "\nFinal : ");
    EXPECT_EQ(mRecorder.launch().sampleBudget, 34U);
    EXPECT_GT(mRecorder.launch().finalIndex, 0);
    EXPECT_EQ(mRecorder.launch().memoryEndpoints.size(), 1U);
    if (!kTakesFdCounts) {  // which settle last
        EXPECT_EQ(mRecorder.launch().memoryEndpoints.front(), mRecorder.launch().finalIndex);
    }
    mOnSample = [](int) {};
    expectTheSame(1, 2, "mVmRssYoungest");  // steady: undecided
    mOnSample = [this](int sample) {
        if (sample < 400 && sample % 7 == 0) mChild.grow(1);
    };
    expectTheSame(2, 1, "\nFinal : ");
    EXPECT_EQ(mRecorder.launch().memoryEndpoints.size(), mRecorder.launch().evaluations.size());
    EXPECT_THAT(mRecorder.launch().memoryEndpoints,
                testing::Contains(mRecorder.launch().finalIndex));
    mOnSample = [this](int sample) {
        if (sample == 400) setData(ORVO_SET_STOP, mApp, nullptr);
    };
    expectTheSame(2, 0, "\nAborted Before analysis 0\n");
    mOnSample = [this](int sample) {
        if (sample == 5) mChild.die();
    };
    expectTheSame(1, 0, "\nAborted Before analysis 0\n");
}

// Launches that were stopped: markers, of 27 bytes each.
class DumpWriterTest : public testing::Test {
protected:
    ~DumpWriterTest() override { unlink(mPath.c_str()); }

    void write(host::DumpWriter& writer) const { writer.write(mApp, mLaunch, 1, 0); }
    std::size_t launches() const { return device::contentOf(mPath).size() / 27; }

    const std::string mApp = "kept." + std::to_string(getpid());
    const std::string mPath = device::dumpPath(mApp);
    const host::RecordedLaunch mLaunch{{}, {}, true, 0, {}, 0, {}, {}, {}};
};

TEST_F(DumpWriterTest, TheLastLaunchesAreKeptAndAQuarterMoreAtMost) {
    std::ofstream(mPath) << std::string(10, '\n');  // not ours yet, and readable by all
    host::DumpWriter writer(host::kDumpFolder, 8);
    std::vector<std::size_t> counts;
    for (int i = 0; i < 14; ++i) {
        write(writer);
        counts.push_back(launches());
    }
    EXPECT_THAT(counts, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 8, 9, 10, 8));
    struct stat status {};
    ASSERT_EQ(stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_NE(access((mPath + ".new").c_str(), F_OK), 0);

    // What others wrote counts as well, and what they left half done goes.
    std::ofstream(mPath, std::ios::app) << "\nAborted Before analysis 0\n";
    write(writer);
    write(writer);
    EXPECT_EQ(launches(), 8U);
    std::ofstream(mPath + ".new") << "half";
    host::DumpWriter fewer(host::kDumpFolder, 2);
    write(fewer);
    EXPECT_EQ(device::contentOf(mPath),
              "\nAborted Before analysis 0\n\nAborted Before analysis 0\n");
    write(writer);
    EXPECT_EQ(launches(), 3U);
}

// A line that a kill cut off stays a line of its own, apart from the next launch's.
TEST_F(DumpWriterTest, TheLastNotesAreKeptToo) {
    const std::string notes = host::notesNameOf(mPath);
    std::ofstream(notes) << "{\"schema_version\":1,";
    host::DumpWriter writer(host::kDumpFolder, 4);
    host::LaunchNote note;
    for (note.samples = 1; note.samples <= 5; ++note.samples)
        writer.writeNote(mApp, note);
    const std::string kept = device::contentOf(notes);
    unlink(notes.c_str());
    EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 4);
    EXPECT_EQ(kept.find("{\"schema_version\":1,{"), std::string::npos);
    EXPECT_EQ(kept.find("\"samples\":1,"), std::string::npos);
    EXPECT_NE(kept.find("\"samples\":5,"), std::string::npos);
}

TEST_F(DumpWriterTest, WhatIsNoDumpIsRefusedAndLeftAsItWas) {
    host::DumpWriter writer(host::kDumpFolder, 8);
    std::ofstream(mPath) << "precious";
    EXPECT_THAT([&] { write(writer); }, refuses(host::kUsage, testing::HasSubstr(".csv:1: ")));
    EXPECT_EQ(device::contentOf(mPath), "precious");
}

}  // namespace
