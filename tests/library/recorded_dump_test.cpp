// The host's dump of a launch, from the log lines alone: byte for byte the
// library's own. A program of its own, in which the host reaches into the learner.
#include <cerrno>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

#include "feature/orvo.h"
#include "host/dump/dump_writer.h"
#include "host/library/log_sink.h"
#include "learner/orvo_learner.h"
#include "platform/tavo_log.h"
#include "store/orvo_dblayer.h"
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

/// A copy of this process under a name without '/', for another has no dump.
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
            mRecorder.take(line);
        });
        setTavoLogLevel(4);
    }
    ~RecordedDumpTest() override {
        mLog.setListener({});
        OrvoDBlayer::mOrvoDB.DeInit();
        unlink(device::kTasksPath);
        unlink(mPath.c_str());
    }

    /// One launch through the learning loop, on this thread.
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

    /// What the library wrote and then what the host writes of the same launch.
    void expectTheSame(std::int32_t type, std::int32_t subtype, const char* end) {
        learn(type, subtype);
        const std::string own = device::contentOf(mPath);
        ASSERT_NE(own.find(end), std::string::npos) << own.substr(0, 500);
        unlink(mPath.c_str());
        const int lines = mLines;
        host::writeDump(mApp, mRecorder.launch(), type, subtype);
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
    mOnSample = [](int) {};
    expectTheSame(1, 2, "mVmRssYoungest");  // steady: undecided
    mOnSample = [this](int sample) {
        if (sample < 400 && sample % 7 == 0) mChild.grow(1);
    };
    expectTheSame(2, 1, "\nFinal : ");
    mOnSample = [this](int sample) {
        if (sample == 400) setData(ORVO_SET_STOP, mApp, nullptr);
    };
    expectTheSame(2, 0, "\nAborted Before analysis 0\n");
    mOnSample = [this](int sample) {
        if (sample == 5) mChild.die();
    };
    expectTheSame(1, 0, "\nAborted Before analysis 0\n");
}

}  // namespace
