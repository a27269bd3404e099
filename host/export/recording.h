// Recorded launches that are handed on, and where they come from.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/dump/dump_file.h"
#include "host/results/results_file.h"

namespace host {

/// The launches of one dump, or of one command that was measured.
struct Recording {
    explicit Recording(DumpSource source);
    Recording(Measurement measured, const std::string& resultsFile, const std::string& which);

    std::string name;   ///< the package's
    std::string title;  ///< "com.a, generation 1 (v1)"
    std::string file;
    std::optional<DumpSource> dump;          ///< this one,
    std::optional<Measurement> measurement;  ///< or this
};

/// The measurements of a results file, in its order.
std::vector<Recording> recordingsOf(Results results, const std::string& file);

/// Takes the launches one after the other, each with its note. A dump is read twice,
/// in bounded memory; the first time whole, so that nothing is made of one that is
/// refused. Throws HostError as DumpFile does.
void forEachLaunch(const Recording& recording, const std::function<void(DumpedLaunch)>& take);

}  // namespace host
