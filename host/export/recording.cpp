// Recorded launches that are handed on, and where they come from.
#include "host/export/recording.h"

#include "host/dump/launch_notes.h"
#include "host/dump/measured_launch.h"

namespace host {

Recording::Recording(DumpSource source)
    : name(source.package), title(titleOf(source)), file(source.file), dump(std::move(source)) {}

Recording::Recording(Measurement measured, const std::string& resultsFile, const std::string& which)
    : name(measured.name),
      title(measured.name + which),
      file(resultsFile),
      measurement(std::move(measured)) {}

std::vector<Recording> recordingsOf(Results results, const std::string& file) {
    std::vector<Recording> recordings;
    const bool isAlone = results.size() == 1;
    for (Measurement& measured : results) {
        const char* const which = recordings.empty() ? ", first command" : ", second command";
        recordings.emplace_back(std::move(measured), file, isAlone ? "" : which);
    }
    return recordings;
}

void forEachLaunch(const Recording& recording, const std::function<void(DumpedLaunch)>& take) {
    if (recording.measurement) {
        std::int64_t number = 0;
        for (const MeasuredLaunch& launch : recording.measurement->launches)
            take(dumpedLaunchOf(launch, recording.measurement->kind, ++number));
        return;
    }
    const LaunchNotes notes = notesOn(*recording.dump);
    DumpFile file(*recording.dump);
    while (std::optional<DumpedLaunch> launch = file.next()) {
        notes.attachTo(*launch);
        take(std::move(*launch));
    }
}

}  // namespace host
