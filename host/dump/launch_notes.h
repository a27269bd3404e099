// The notes beside a dump, each with its launch.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/base/line_reader.h"
#include "host/base/unique_fd.h"
#include "host/dump/dump_file.h"
#include "host/dump/launch_note.h"

namespace host {

/// Which of a dump's launches which note is of. Holds some bytes a launch; the notes
/// stay in their file.
///
/// Launches with the same memory samples are told apart by their order, from the last
/// one back: the oldest notes and launches are dropped, though not at once. Where there
/// are fewer notes than such launches, one is missing, nobody knows which, and none of
/// them is used.
class LaunchNotes {
public:
    /// Reads the notes beside the dump; a file that is not there has none, and lines
    /// that are not notes are skipped. Throws HostError for what cannot be read.
    explicit LaunchNotes(const DumpSource& source);

    /// Takes the dump's launches, all of them in their order.
    void count(const DumpedLaunch& launch);

    /// Gives the launch its note, if there is one, once all are counted.
    void attachTo(DumpedLaunch& launch) const;

private:
    struct Alike {
        std::vector<std::int64_t> offsets;   // of the notes
        std::vector<std::int64_t> launches;  // their numbers
    };

    LineReader linesFrom(std::int64_t offset) const;

    std::string mName;
    UniqueFd mFile;
    std::map<std::uint64_t, Alike> mAlike;  // by fingerprint
};

/// The dump's launches counted.
LaunchNotes notesOn(const DumpSource& source);

}  // namespace host
