// The notes beside a dump, each with its launch.
#include "host/dump/launch_notes.h"

#include <algorithm>
#include <fcntl.h>

#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/dump/dump_name.h"

namespace host {
namespace {

constexpr std::size_t kLongestNote = std::size_t{1} << 21U;  // an hour behind the window has 1 MB

UniqueFd openNotes(const DumpSource& source) {
    const std::string file = notesNameOf(source.file);
    return source.isOfState ? openKeptFile(file, O_RDONLY) : openGivenFile(file, kEnvironment);
}

std::optional<LaunchNote> noteIn(const TextLine& line) {
    return line.isTooLong ? std::nullopt : parseNoteLine(line.text);
}

std::uint64_t memoryOf(const DumpedLaunch& launch) {
    const Series& memoryKb = launch.series[Metric::kVmRss];
    return fingerprintOf(memoryKb, memoryKb.size());
}

}  // namespace

LaunchNotes::LaunchNotes(const DumpSource& source)
    : mName(printable(notesNameOf(source.file))), mFile(openNotes(source)) {
    if (!mFile.isOpen()) return;
    for (LineReader lines = linesFrom(0); !lines.atEnd(); lines.skip()) {
        if (const auto note = noteIn(lines.peek()))
            mAlike[note->fingerprint].offsets.push_back(lines.peek().offset);
    }
}

LineReader LaunchNotes::linesFrom(std::int64_t offset) const {
    return {bytesOf(mFile.get(), mName, offset), kLongestNote};
}

void LaunchNotes::count(const DumpedLaunch& launch) {
    if (mAlike.empty() || launch.evaluations.empty()) return;
    const auto alike = mAlike.find(memoryOf(launch));
    if (alike != mAlike.end()) alike->second.launches.push_back(launch.number);
}

void LaunchNotes::attachTo(DumpedLaunch& launch) const {
    if (mAlike.empty()) return;
    const auto found = mAlike.find(memoryOf(launch));
    if (found == mAlike.end()) return;
    const auto& [offsets, launches] = found->second;
    const auto at = std::lower_bound(launches.begin(), launches.end(), launch.number);
    const bool isCounted = at != launches.end() && *at == launch.number;
    if (!isCounted || offsets.size() < launches.size()) return;
    launch.note = noteIn(linesFrom(*(offsets.end() - (launches.end() - at))).peek());
}

LaunchNotes notesOn(const DumpSource& source) {
    LaunchNotes notes(source);
    DumpFile file(source);
    while (const std::optional<DumpedLaunch> launch = file.next())
        notes.count(*launch);
    return notes;
}

}  // namespace host
