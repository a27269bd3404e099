// Recorded launches that are handed on, and where they come from.
#include "host/export/recording.h"

#include "host/dump/launch_notes.h"

namespace host {

void forEachLaunch(const Recording& recording,
                   const std::function<void(const DumpedLaunch&)>& take) {
    const LaunchNotes notes = notesOn(recording.source);
    DumpFile file(recording.source);
    while (std::optional<DumpedLaunch> launch = file.next()) {
        notes.attachTo(*launch);
        take(*launch);
    }
}

}  // namespace host
