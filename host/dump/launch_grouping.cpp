// Groups the blocks of a dump into launches.
#include "host/dump/launch_grouping.h"

#include <algorithm>

namespace host {
namespace {

bool isPrefix(const Series& shorter, const Series& longer) {
    return shorter.size() <= longer.size() &&
           std::equal(shorter.begin(), shorter.end(), longer.begin());
}

bool continuesSeries(const PerMetric<Series>& earlier, const PerMetric<Series>& later) {
    return std::all_of(kMetrics.begin(), kMetrics.end(),
                       [&](Metric metric) { return isPrefix(earlier[metric], later[metric]); });
}

// Whether a launch may have more blocks: a long one that is not over.
bool isOpen(const DumpedLaunch& launch) {
    return launch.outcome == DumpOutcome::kUnfinished;
}

bool belongsTo(const DumpedLaunch& launch, const DumpBlock& block) {
    if (!isOpen(launch)) return false;
    if (block.isAbort) return true;
    if (!block.evaluation && continuesSeries(block.series, launch.series)) return true;
    return continuesSeries(launch.series, block.series) &&
           sampleCount(block.series) > launch.samples();
}

DumpOutcome outcomeAfter(const DumpBlock& block, const DumpedLaunch& launch) {
    if (block.isAbort) return DumpOutcome::kAborted;
    if (block.isCutOff) return DumpOutcome::kCutOff;
    if (launch.finalIndex()) return DumpOutcome::kDecided;
    const bool isOver = !launch.isLong() || launch.samples() >= kMostSamples;
    return isOver ? DumpOutcome::kUndecided : DumpOutcome::kUnfinished;
}

void append(DumpedLaunch& launch, DumpBlock& block) {
    if (continuesSeries(launch.series, block.series)) launch.series = std::move(block.series);
    if (block.evaluation) launch.evaluations.push_back(std::move(*block.evaluation));
    launch.outcome = outcomeAfter(block, launch);
}

}  // namespace

LaunchReader::LaunchReader(ReadBytes read, const std::string& fileName)
    : mBlocks(std::move(read), fileName), mAhead(mBlocks.next()) {}

std::optional<DumpedLaunch> LaunchReader::next() {
    if (!mAhead) return std::nullopt;
    DumpedLaunch launch;
    launch.number = ++mLaunches;
    launch.line = mAhead->line;
    launch.offset = mAhead->offset;
    do {
        append(launch, *mAhead);
        mAhead = mBlocks.next();
    } while (mAhead && belongsTo(launch, *mAhead));
    return launch;
}

}  // namespace host
