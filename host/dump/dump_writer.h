// Writes the dumps of launches that the host followed, and the notes beside them.
#pragma once

#include <cstdint>
#include <string>

#include "host/dump/launch_note.h"
#include "host/dump/trimmed_file.h"
#include "host/library/series_recorder.h"

namespace host {

/// The launches of a package that are kept by default.
constexpr std::size_t kDumpsKept = 50;

/// Writes where the library would, so in the private root alone. To be used by
/// the one process that learns the package.
class DumpWriter {
public:
    /// `folder` is where a person finds the dumps, for messages; the library's own
    /// counts when that is another.
    DumpWriter(const std::string& folder, std::size_t launchesKept);

    /// Appends to the package's dump, byte for byte, what the library would have
    /// written of the launch: one block an evaluation, and a marker for one that
    /// was stopped. A launch that was never evaluated nor stopped leaves nothing.
    ///
    /// The library runs its analysis for this once more, on this thread. Of the
    /// launches before, the last stay in the file: as many as are to be kept, and
    /// up to a quarter more, so that it is not rewritten each time.
    ///
    /// Throws HostError when the file is not a dump, or cannot be written whole.
    void write(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
               std::int32_t subtype);

    /// The same, and then a note beside the dump: noteOf(launch, told, startedAtMs, seenKb).
    void write(const std::string& package, const RecordedLaunch& launch, const LaunchNote& told,
               double startedAtMs, const Series& seenKb);

    /// Appends to the notes, of which as many are kept. The launch is in the dump by
    /// then: a kill between the two leaves one without its note, which is normal, and
    /// never a note that is taken for another launch's. Throws HostError.
    void writeNote(const std::string& package, const LaunchNote& note);

    /// Keeps the note on the package's last probing launch (recorded_probe.h) beside its
    /// dump. Throws HostError.
    void writeProbe(const std::string& package, const LaunchNote& note);

private:
    const std::string mFolder;
    TrimmedFiles mDumps;
    TrimmedFiles mNotes;
    TrimmedFiles mProbes;
};

}  // namespace host
