// Takes the text of a dump apart into blocks.
//
// The library opens the file anew for each block and may be killed while it
// writes, so a block can end at any byte, and the next one starts right there:
// the line feeds that it starts with then end the broken line. So the blank
// lines before a block show whether the one before it is whole.
#include "host/dump/dump_parser.h"

#include <algorithm>
#include <charconv>

#include "host/base/exit_code.h"
#include "host/base/prefix.h"
#include "host/base/printable.h"

namespace host {
namespace {

constexpr std::string_view kHeaderText =
    " FD, OOM, VMRSS,VmRssAge,OOMScroeAge,FDCountAge,mAgeTable,mVmRssTop12,mOOMScroeTop12,"
    "mFDCountTop12";
constexpr std::string_view kMarkerText = "Aborted Before analysis ";
constexpr std::string_view kEndpointTitle = "mVmRssEp, mOOMScroeEp, mFDCountEp";
constexpr std::string_view kYoungestTitle = "mVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest";
constexpr std::string_view kFinalTitle = "Final : ";
constexpr std::string_view kSeparator = ", ";

constexpr std::int64_t kBlanksBeforeHeader = 2;
constexpr std::int64_t kBlanksBeforeMarker = 1;
constexpr std::size_t kLinesAfterRows = 7;
constexpr std::size_t kMostLines = 1 + kMostSamples + kLinesAfterRows;
constexpr std::size_t kQuotedBytes = 40;
constexpr std::size_t kLongestLine = 1024;  // above ten numbers, and the titles

enum Column : std::size_t {
    kFd,
    kOomScore,
    kVmRss,
    kVmRssAge,
    kOomScoreAge,
    kFdAge,
    kAgeTable,
    kVmRssTop,
    kOomScoreTop,
    kFdTop,
    kColumnCount
};
constexpr PerMetric<Column> kSeriesColumn{{kVmRss, kOomScore, kFd}};
constexpr PerMetric<Column> kTopColumn{{kVmRssTop, kOomScoreTop, kFdTop}};

using Triple = PerMetric<std::int32_t>;
using Row = std::array<std::int32_t, kColumnCount>;  // a weight as 1, a missing one as 0

// --- Numbers.

std::optional<std::int32_t> parseInt(std::string_view text) {
    std::int32_t value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, value);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return value;
}

std::optional<std::int32_t> parseIndex(std::string_view text) {
    const std::optional<std::int32_t> index = parseInt(text);
    const bool isIndex = index && *index >= 0 && *index < static_cast<std::int32_t>(kMostSamples);
    return isIndex ? index : std::nullopt;
}

// Whether a weight is there: it has decimals, a missing one is the digit 0.
std::optional<std::int32_t> parseWeight(std::string_view text) {
    const std::size_t point = text.find('.');
    if (point == std::string_view::npos) return text == "0" ? parseInt(text) : std::nullopt;
    const bool isNumber = parseInt(text.substr(0, point)) && parseInt(text.substr(point + 1));
    return isNumber ? std::optional<std::int32_t>(1) : std::nullopt;
}

std::optional<Row> parseRow(std::string_view text) {
    Row row{};
    for (std::size_t column = 0; column < kColumnCount; ++column) {
        const std::size_t end = text.find(kSeparator);
        if (end == std::string_view::npos) return std::nullopt;
        const bool isWeight = column >= kVmRssAge && column <= kAgeTable;
        const auto cell = (isWeight ? parseWeight : parseInt)(text.substr(0, end));
        if (!cell) return std::nullopt;
        row[column] = *cell;
        text.remove_prefix(end + kSeparator.size());
    }
    return text.empty() ? std::optional<Row>(row) : std::nullopt;
}

using ParseNumber = std::optional<std::int32_t>(std::string_view);

std::optional<Triple> parseTriple(std::string_view text, ParseNumber* parseNumber) {
    Triple triple;
    for (const Metric metric : kMetrics) {
        const bool isLast = metric == kMetrics.back();
        const std::size_t end = isLast ? text.size() : text.find(kSeparator);
        if (end == std::string_view::npos) return std::nullopt;
        const std::optional<std::int32_t> value = parseNumber(text.substr(0, end));
        if (!value) return std::nullopt;
        triple[metric] = *value;
        text.remove_prefix(isLast ? end : end + kSeparator.size());
    }
    return triple;
}

// Whether `text` may be the first part of a line of numbers.
bool isNumbersStart(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789-., ") == std::string_view::npos;
}

// --- Lines.

enum class LineKind { kHeader, kMarker, kOther };

// Which of the two a line begins; nothing else starts like them.
LineKind kindOf(std::string_view text) {
    if (text.empty()) return LineKind::kOther;
    if (startsWith(kHeaderText, text)) return LineKind::kHeader;
    const bool isMarker = startsWith(text, kMarkerText) || startsWith(kMarkerText, text);
    return isMarker ? LineKind::kMarker : LineKind::kOther;
}

std::int64_t blanksBefore(LineKind kind) {
    return kind == LineKind::kHeader ? kBlanksBeforeHeader : kBlanksBeforeMarker;
}

}  // namespace

class BlockReader::Parser {
public:
    Parser(ReadBytes read, const std::string& fileName)
        : mFileName(fileName), mLines(std::move(read), kLongestLine) {
        // The lines of a block look into it, so it must never move: one blank line
        // and one line too many may come on top.
        mText.reserve((kMostLines + 2) * kLongestLine);
    }

    std::optional<DumpBlock> next() {
        mLines.skipBlanks();
        return mLines.atEnd() ? std::nullopt : std::optional<DumpBlock>(parseBlock());
    }

private:
    DumpBlock parseBlock() {
        takeLinesOfBlock();
        const TextLine start = takeLine();
        DumpBlock block;
        block.line = start.number;
        block.offset = std::max<std::int64_t>(start.offset - blanksBefore(kindOf(start.text)), 0);
        block.isAbort = kindOf(start.text) == LineKind::kMarker;
        if (startsWith(start.text, kMarkerText) && start.isWhole) {
            if (!parseInt(start.text.substr(kMarkerText.size())))
                refuse(start, "not an abort marker");
        } else if (start.text == kHeaderText) {
            parseEvaluation(block);
        } else if (kindOf(start.text) != LineKind::kOther && !start.isWhole) {
            block.isCutOff = true;
        } else {
            refuse(start, "neither the start of a block nor an abort marker");
        }
        if (mNext < mBlock.size()) refuse(mBlock.back(), "not what follows there in a block");
        return block;
    }

    // Takes all lines up to the start of the next block.
    void takeLinesOfBlock() {
        mText.clear();
        mBlock.clear();
        mNext = 0;
        keepLine();
        while (!mLines.atEnd()) {
            const std::int64_t blanks = mLines.skipBlanks();
            if (mLines.atEnd()) return;
            const LineKind next = kindOf(mLines.peek().text);
            if (next != LineKind::kOther) {
                mBlock.back().isWhole = blanks >= blanksBefore(next);
                return;
            }
            if (blanks > 0) mBlock.push_back({"", mLines.peek().number - 1, 0, true});
            keepLine();
            if (mBlock.size() > kMostLines) refuse(mBlock.back(), "more lines than a block has");
        }
    }

    void keepLine() {
        TextLine line = mLines.peek();
        if (line.isTooLong) refuse(line, "longer than any line of a dump");
        const std::size_t start = mText.size();
        mText += line.text;
        line.text = std::string_view(mText).substr(start);
        mBlock.push_back(line);
        mLines.skip();
    }

    void parseEvaluation(DumpBlock& block) {
        Evaluation evaluation;
        parseRows(block, evaluation);
        block.isCutOff = !parseResults(evaluation) || !parseDecision(evaluation);
        if (!block.isCutOff) block.evaluation = std::move(evaluation);
    }

    void parseRows(DumpBlock& block, Evaluation& evaluation) {
        const std::size_t first = mNext;
        std::size_t fdWeights = 0;
        for (; mNext < mBlock.size() && isNumbersStart(mBlock[mNext].text); ++mNext) {
            const TextLine& line = mBlock[mNext];
            const std::optional<Row> row = parseRow(line.text);
            if (!row && line.isWhole) refuse(line, "not a row of ten numbers");
            if (!row) continue;  // broken off, so the last
            if (mNext - first == kMostSamples) refuse(line, "more rows than a series has");
            for (const Metric metric : kMetrics) {
                block.series[metric].push_back((*row)[kSeriesColumn[metric]]);
                evaluation.metrics[metric].topValues.push_back((*row)[kTopColumn[metric]]);
            }
            if ((*row)[kFdAge] != 0) fdWeights = mNext + 1 - first;
        }
        // A count of descriptors may be 0; the weights show how many there are.
        cutFill(block.series[Metric::kVmRss], 0);
        cutFill(block.series[Metric::kOomScore], 0);
        cutFill(block.series[Metric::kFdCount], fdWeights);
        checkSamples(block.series[Metric::kVmRss], first);
        checkSamples(block.series[Metric::kOomScore], first);
        for (const Metric metric : kMetrics) {
            evaluation.metrics[metric].samples = block.series[metric].size();
            cutFill(evaluation.metrics[metric].topValues, 0);
        }
    }

    // Cuts off the zeros at the end of `values`, but keeps the first `kept`.
    static void cutFill(std::vector<std::int32_t>& values, std::size_t kept) {
        while (values.size() > kept && values.back() == 0)
            values.pop_back();
    }

    void checkSamples(const Series& series, std::size_t firstRow) const {
        for (std::size_t i = 0; i < series.size(); ++i) {
            if (series[i] < 1) refuse(mBlock[firstRow + i], "a sample below 1 among others");
        }
    }

    // These return false where the block is cut off.

    bool parseResults(Evaluation& evaluation) {
        if (!expect(kEndpointTitle)) return false;
        const std::optional<Triple> endpoints = takeTriple(parseIndex);
        if (!endpoints || !expect("") || !expect(kYoungestTitle)) return false;
        const std::optional<Triple> settled = takeTriple(parseInt);
        if (!settled) return false;
        for (const Metric metric : kMetrics) {
            evaluation.metrics[metric].endpointIndex = (*endpoints)[metric];
            evaluation.metrics[metric].settledValue = (*settled)[metric];
        }
        return true;
    }

    bool parseDecision(Evaluation& evaluation) {
        if (mNext == mBlock.size()) return true;  // undecided
        expect("");
        const TextLine line = takeLine();
        const std::string_view title = line.text.substr(0, kFinalTitle.size());
        if (!line.isWhole && startsWith(kFinalTitle, title)) return false;
        if (title == kFinalTitle) {
            evaluation.finalIndex = parseIndex(line.text.substr(kFinalTitle.size()));
        }
        if (evaluation.finalIndex.value_or(0) < 1) refuse(line, "not a final index");
        return true;
    }

    bool expect(std::string_view text) {
        if (mNext == mBlock.size()) return false;
        const TextLine line = takeLine();
        if (line.isWhole && line.text == text) return true;
        if (!line.isWhole && startsWith(text, line.text)) return false;
        refuse(line, text.empty() ? "no blank line" : "not '" + std::string(text) + "'");
    }

    std::optional<Triple> takeTriple(ParseNumber* parseNumber) {
        if (mNext == mBlock.size()) return std::nullopt;
        const TextLine line = takeLine();
        const std::optional<Triple> triple = parseTriple(line.text, parseNumber);
        if (line.isWhole && triple) return triple;
        if (!line.isWhole && isNumbersStart(line.text)) return std::nullopt;
        refuse(line, "not three numbers in their range");
    }

    TextLine takeLine() { return mBlock[mNext++]; }

    [[noreturn]] void refuse(const TextLine& line, const std::string& why) const {
        throw HostError(kUsage, mFileName + ":" + std::to_string(line.number) + ": " + why + ": '" +
                                    printable(line.text, kQuotedBytes) + "'");
    }

    const std::string mFileName;
    LineReader mLines;
    std::string mText;             // of the block at hand
    std::vector<TextLine> mBlock;  // its lines
    std::size_t mNext = 0;         // the first of them that is not yet taken
};

BlockReader::BlockReader(ReadBytes read, const std::string& fileName)
    : mParser(std::make_unique<Parser>(std::move(read), fileName)) {}

BlockReader::~BlockReader() = default;

std::optional<DumpBlock> BlockReader::next() {
    return mParser->next();
}

}  // namespace host
