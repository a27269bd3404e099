// Reading the metrics and the series they go into.
#include <climits>
#include <cstdio>
#include <gmock/gmock.h>
#include <memory>
#include <unistd.h>

#include "tests/library/peers.h"
#include "tests/support/device.h"
#include "tests/support/log_capture.h"

namespace {

using testing::ElementsAre;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream streamOf(const std::string& text) {
    Stream stream(std::tmpfile(), std::fclose);
    std::fputs(text.c_str(), stream.get());
    std::rewind(stream.get());
    return stream;
}

TEST(FieldValueTest, IsTheNumberAfterTheKeyElseMinusOne) {
    struct {
        const char* line;
        const char* key;
        std::int32_t value;
    } const cases[] = {
        {"VmSwap:\t  812 kB", "VmSwap:", 812},
        {"xVmSwap:7", "VmSwap:", 7},
        {"VmSwap 7", "VmSwap:", -1},
        {"VmSwap:-7", "VmSwap:", -7},
        {"VmSwap:", "VmSwap:", 0},
        {"VmSwap: x9", "VmSwap:", 0},
        {nullptr, "VmSwap:", -1},
        {"VmSwap:7", nullptr, -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OrvoLearner::getFieldValue(c.line, c.key), c.value) << (c.line ? c.line : "null");
}

TEST(StatusReaderTest, AddsAnonymousAndSwappedMemoryOrNamesWhatIsMissing) {
    const std::string longLine(149, 'x');
    struct {
        std::string text;
        std::int32_t value;
        const char* error;
    } const cases[] = {
        {"VmRSS:\t9 kB\nRssAnon:\t800 kB\nVmSwap:\t25 kB\n", 825, ""},
        {"VmSwap: 25\nRssAnon: 800\n", 825, ""},
        {"RssAnon: 0\nVmSwap: 0\n", 0, ""},
        {"RssAnon: 1\nRssAnon: 2\nVmSwap: 3\n", 4, ""},     // a value once found stays
        {"RssAnon: -9\nVmSwap: 3\nRssAnon: 2\n", 5, ""},    // a negative one is none
        {longLine + "RssAnon: 1 VmSwap: 2", 3, ""},         // a long line comes in pieces
        {"RssAnon: 2147483647\nVmSwap: 1\n", INT_MIN, ""},  // wraps
        {"", -1, "Failed to read rss\n"},
        {"VmSwap: 25\n", -1, "Failed to read rss\n"},
        {"RssAnon: 800\nVmRSS: 1\n", -1, "Failed to read rssSwap\n"},
        {std::string(1 << 20, 'x'), -1, "Failed to read rss\n"},
        {std::string("\0\xff\0RssAnon: 1 VmSwap: 2\n", 24), -1, "Failed to read rss\n"},
    };
    OrvoLearner learner;
    for (const auto& c : cases) {
        LogCapture log(3);
        EXPECT_EQ(learner.getProcessVmRss(streamOf(c.text).get()), c.value) << c.text;
        EXPECT_EQ(log.take(), c.error) << c.text;
    }
    LogCapture log(3);
    EXPECT_EQ(learner.getProcessVmRss(nullptr), -1);
    EXPECT_EQ(log.take(), "Failed to open process file, perms issue?\n");
}

TEST(ScoreReaderTest, ParsesWhatFitsAndStartsAnewAtEveryRead) {
    OrvoLearner learner;
    EXPECT_EQ(learner.getProcessOMMScore(nullptr), -1);
    const std::pair<std::string, std::int32_t> cases[] = {
        {"666\n", 666},
        {"0\n", 0},
        {"-5", -5},
        {"x", 0},
        {"", 0},
        {"\xff\xfe", 0},
        {"4294967297", 1},                  // cut to 32 bits
        {std::string(1 << 20, '7'), -1},    // the same, of the largest long
        {std::string(148, ' ') + "12", 1},  // 149 characters are read
    };
    for (const auto& [text, score] : cases) {
        const Stream stream = streamOf(text);
        EXPECT_EQ(learner.getProcessOMMScore(stream.get()), score) << text;
        ASSERT_EQ(pwrite(fileno(stream.get()), "77 \n", 4, 0), 4);
        EXPECT_EQ(learner.getProcessOMMScore(stream.get()), 77) << text;
    }
    LogCapture log(4);
    learner.getProcessOMMScore(streamOf("5\n").get());
    EXPECT_EQ(log.take(), "nread=0 OmmScore (5)");
}

// Whether or not the reader has come to the end of the buffer. Zeros are no
// samples, and no reason to abort.
TEST(SamplingTest, EverySampleIsReadFreshThroughTheHeldStreams) {
    OrvoLearner learner;
    OrvoLearnerPeer peer(learner);
    for (const char* rest : {"", "Threads: 1\n"}) {
        learner.clearAll();
        const Stream status = streamOf(std::string("RssAnon: 1\nVmSwap: 0\n") + rest);
        const Stream score = streamOf("5\n");
        for (const char* digit : {"1", "0", "6"}) {
            ASSERT_EQ(pwrite(fileno(status.get()), digit, 1, 9), 1);
            ASSERT_EQ(pwrite(fileno(score.get()), digit, 1, 0), 1);
            peer.takeSample(status.get(), score.get());
        }
        EXPECT_THAT(peer.vmRss, ElementsAre(1, 6)) << rest;
        EXPECT_THAT(peer.oomScore, ElementsAre(1, 6)) << rest;
        EXPECT_FALSE(peer.abort);
    }
}

TEST(SeriesTest, HoldsTwoThousandValuesAndDropsMore) {
    OrvoLearner learner;
    const OrvoLearnerPeer peer(learner);
    for (std::int32_t i = 0; i < 2001; ++i) {
        learner.insertVmRss(i);
        learner.insertOMMScroe(-i);
        learner.insertFDCount(i);
        const auto expected = static_cast<std::size_t>(std::min(i + 1, 2000));
        ASSERT_EQ(peer.vmRss.size(), expected);
        ASSERT_EQ(peer.oomScore.size(), expected);
        ASSERT_EQ(peer.fdCounts(), expected);
    }
    EXPECT_EQ(peer.vmRss.back(), 1999);
    EXPECT_EQ(peer.oomScore.back(), -1999);
}

}  // namespace
