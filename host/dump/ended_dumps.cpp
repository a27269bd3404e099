// The dumps of generations that have ended.
#include "host/dump/ended_dumps.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/dump/dump_name.h"
#include "host/state/generations.h"

namespace host {
namespace {

// All that a dump consists of.
std::vector<std::string> filesOf(const std::string& dump) {
    return {dump, notesNameOf(dump), probeNameOf(dump)};
}

void refuseUnlessMissing(const std::string& what, const std::string& file) {
    if (errno == ENOENT) return;
    throw HostError(kEnvironment, "cannot " + what + " the dump " + printable(file) + ": " +
                                      std::strerror(errno) + "; clear the way and try again");
}

}  // namespace

void endDump(const std::string& folder, const std::string& package, std::int32_t generation) {
    if (package.find('/') != std::string::npos) return;  // such a one has no dump
    const auto filesNamed = [&](const std::string& name) { return filesOf(folder + '/' + name); };
    const std::vector<std::string> newest = filesNamed(dumpNameOf(package));
    const std::vector<std::string> ended = filesNamed(dumpNameOf(package, generation));
    for (std::size_t i = 0; i < newest.size(); ++i) {
        if (std::rename(newest[i].c_str(), ended[i].c_str()) != 0)
            refuseUnlessMissing("rename", newest[i]);
    }
    // The newest, which has no number in its name, is one of those that are kept.
    const std::int32_t tooOld = generation + 1 - kGenerationsKept;
    for (const std::string& file : filesNamed(dumpNameOf(package, tooOld))) {
        if (unlink(file.c_str()) != 0) refuseUnlessMissing("remove", file);
    }
}

}  // namespace host
