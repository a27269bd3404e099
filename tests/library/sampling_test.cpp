// Reading the metrics and the series they go into.
#include <climits>
#include <cstdio>
#include <memory>
#include <unistd.h>

#include "tests/library/learner_test.h"

namespace {

using testing::ElementsAre;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream streamOf(const std::string& text) {
    Stream stream(std::tmpfile(), std::fclose);
    std::fputs(text.c_str(), stream.get());
    std::rewind(stream.get());
    return stream;
}

using SamplingTest = LearnerTest;

TEST_F(SamplingTest, StatusIsAnonymousPlusSwappedMemoryOrNamesWhatIsMissing) {
    const std::string longLine(149, 'x');
    struct {
        std::string text;
        std::int32_t value;
        const char* error;
    } const cases[] = {
        {"VmRSS:\t9 kB\nRssAnon:\t800 kB\nVmSwap:\t25 kB\n", 825, ""},
        {"VmSwap: x9\nRssAnon:\n", 0, ""},
        {"RssAnon: 1\nRssAnon: 2\nVmSwap: 3\n", 4, ""},     // a value once found stays
        {"RssAnon: -9\nVmSwap: 3\nRssAnon: 2\n", 5, ""},    // a negative one is none
        {longLine + "RssAnon: 1 VmSwap: 2", 3, ""},         // a long line comes in pieces
        {"RssAnon: 2147483647\nVmSwap: 1\n", INT_MIN, ""},  // wraps
        {"", -1, "Failed to read rss\n"},
        {"RssAnon: 800\nVmRSS: 1\n", -1, "Failed to read rssSwap\n"},
        {std::string(1 << 20, 'x'), -1, "Failed to read rss\n"},
        {std::string("\0\xff\0RssAnon: 1 VmSwap: 2\n", 24), -1, "Failed to read rss\n"},
    };
    LogCapture log(3);
    for (const auto& c : cases) {
        EXPECT_EQ(mLearner.getProcessVmRss(streamOf(c.text).get()), c.value) << c.text;
        EXPECT_EQ(log.take(), c.error) << c.text;
    }
    EXPECT_EQ(mLearner.getProcessVmRss(nullptr), -1);
    EXPECT_EQ(log.take(), "Failed to open process file, perms issue?\n");
    EXPECT_EQ(OrvoLearner::getFieldValue(nullptr, "VmSwap:"), -1);
    EXPECT_EQ(OrvoLearner::getFieldValue("VmSwap:7", nullptr), -1);
}

TEST_F(SamplingTest, ScoreIsParsedFromWhatFitsAnewAtEveryRead) {
    const std::pair<std::string, std::int32_t> cases[] = {
        {"666\n", 666},
        {"", 0},
        {"\xff\xfe", 0},
        {std::string(1 << 20, '7'), -1},    // the largest long, cut to 32 bits
        {std::string(148, ' ') + "12", 1},  // 149 characters are read
    };
    LogCapture log(4);
    for (const auto& [text, score] : cases) {
        const Stream stream = streamOf(text);
        EXPECT_EQ(mLearner.getProcessOMMScore(stream.get()), score) << text;
        ASSERT_EQ(pwrite(fileno(stream.get()), "77 \n", 4, 0), 4);
        log.take();
        EXPECT_EQ(mLearner.getProcessOMMScore(stream.get()), 77) << text;
        EXPECT_EQ(log.count("OmmScore (77)"), 1);
    }
}

// Such a stream has no descriptor to move back.
TEST_F(SamplingTest, StreamInMemoryIsReadFromItsStartEachTime) {
    char status[] = "RssAnon: 4\nVmSwap: 3\nThreads: 1\n";
    char score[] = "666\n";
    const Stream statusStream(fmemopen(status, sizeof(status) - 1, "r"), std::fclose);
    const Stream scoreStream(fmemopen(score, sizeof(score) - 1, "r"), std::fclose);
    for (int i = 0; i < 3; ++i)
        mPeer.takeSample(statusStream.get(), scoreStream.get());
    EXPECT_THAT(mPeer.vmRss, ElementsAre(7, 7, 7));
    EXPECT_THAT(mPeer.oomScore, ElementsAre(666, 666, 666));
}

// Whether or not the reader has come to the end of the buffer. Zeros are no
// samples, and no reason to abort.
TEST_F(SamplingTest, EverySampleIsReadFreshThroughTheHeldStreams) {
    for (const char* rest : {"", "Threads: 1\n"}) {
        mLearner.clearAll();
        const Stream status = streamOf(std::string("RssAnon: 1\nVmSwap: 0\n") + rest);
        const Stream score = streamOf("5\n");
        for (const char* digit : {"1", "0", "6"}) {
            ASSERT_EQ(pwrite(fileno(status.get()), digit, 1, 9), 1);
            ASSERT_EQ(pwrite(fileno(score.get()), digit, 1, 0), 1);
            mPeer.takeSample(status.get(), score.get());
        }
        EXPECT_THAT(mPeer.vmRss, ElementsAre(1, 6)) << rest;
        EXPECT_THAT(mPeer.oomScore, ElementsAre(1, 6)) << rest;
        mPeer.takeSample(streamOf("RssAnon: 2147483647\nVmSwap: 1\n").get(), nullptr);  // wraps
        EXPECT_FALSE(mPeer.abort);
    }
}

TEST_F(SamplingTest, SeriesHoldTwoThousandValuesAndDropMore) {
    for (std::int32_t i = 0; i < 2001; ++i) {
        mLearner.insertVmRss(i);
        mLearner.insertOMMScroe(-i);
        mLearner.insertFDCount(i);
    }
    EXPECT_EQ(mPeer.vmRss.back(), 1999);
    EXPECT_EQ(mPeer.oomScore.back(), -1999);
    EXPECT_EQ(mPeer.fdCounts(), 2000U);
}

}  // namespace
