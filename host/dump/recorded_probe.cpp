// A probing launch as it is kept beside the package's dump.
#include "host/dump/recorded_probe.h"

#include <cmath>
#include <fcntl.h>
#include <utility>

#include "host/base/exit_code.h"
#include "host/base/line_reader.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/dump/dump_name.h"

namespace host {
namespace {

constexpr std::size_t kLongestProbeNote = std::size_t{1} << 16U;  // a minute has 20 kB

bool isOfProbe(const LaunchNote& note) {
    return note.samples == 0 && !note.lookAfterKb.empty() && note.firstSampleSinceStartMs;
}

DumpedLaunch launchOf(LaunchNote note) {
    DumpedLaunch launch;
    launch.isProbing = true;
    launch.series[Metric::kVmRss] = std::exchange(note.lookAfterKb, {});
    note.samples = launch.samples();
    const auto last = static_cast<std::int64_t>(note.samples) - 1;
    note.lastSampleSinceStartMs = *note.firstSampleSinceStartMs + timeMs(last);
    launch.note = std::move(note);
    return launch;
}

}  // namespace

LaunchNote noteOf(const ProbeSight& sight) {
    LaunchNote note;
    note.launchedAtUnixMs = sight.launchedAtUnixMs;
    note.kind = kindOf(sight.choice.window);
    note.fingerprint = fingerprintOf({}, 0);
    note.firstSampleSinceStartMs = static_cast<std::int32_t>(std::lround(sight.firstMs));
    note.lookAfterKb = sight.memoryKb;
    return note;
}

DumpedLaunch recordedProbe(const DumpSource& source) {
    const std::string file = probeNameOf(source.file);
    const UniqueFd opened =
        source.isOfState ? openKeptFile(file, O_RDONLY) : openGivenFile(file, kEnvironment);
    std::optional<LaunchNote> last;
    if (opened.isOpen()) {
        for (LineReader lines(bytesOf(opened.get(), file), kLongestProbeNote); !lines.atEnd();
             lines.skip()) {
            const auto note =
                lines.peek().isTooLong ? std::nullopt : parseNoteLine(lines.peek().text);
            if (note && isOfProbe(*note)) last = note;
        }
    }
    if (last) return launchOf(std::move(*last));
    throw HostError(kNotLearned, "there is no probing launch of " + printable(titleOf(source)) +
                                     " (" + printable(file) +
                                     "); orvo-host learn --dump records the one that it makes");
}

std::optional<ProbeSight> sightOf(const DumpedLaunch& launch) {
    if (!launch.isProbing) return std::nullopt;
    const Series& memoryKb = launch.series[Metric::kVmRss];
    const double firstMs = *launch.note->firstSampleSinceStartMs;
    const bool hasEnded = !chooseWindow(memoryKb);
    return ProbeSight{*chooseWindow(memoryKb, true), firstMs, hasEnded, memoryKb,
                      launch.note->launchedAtUnixMs};
}

}  // namespace host
