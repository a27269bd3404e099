// Recorded launches that are handed on, and where they come from.
#pragma once

#include <functional>
#include <string>

#include "host/dump/dump_file.h"

namespace host {

/// The launches of one dump.
struct Recording {
    explicit Recording(DumpSource dump) : source(std::move(dump)) {}

    DumpSource source;

    std::string title() const { return titleOf(source); }
};

/// Takes the launches one after the other, each with its note. A dump is read twice,
/// in bounded memory; the first time whole, so that nothing is made of one that is
/// refused. Throws HostError as DumpFile does.
void forEachLaunch(const Recording& recording,
                   const std::function<void(const DumpedLaunch&)>& take);

}  // namespace host
