// Takes a package from one generation to the next.
#pragma once

#include <optional>
#include <string>

#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/state/generations.h"
#include "host/state/state_folder.h"

namespace host {

/// Whether there is something to erase: learned, or left by a killed process. Only
/// looks. Throws HostError.
bool isKnown(const StateFolder& state, const std::string& package);

/// Beginning a generation erases what was learned, renames the dump and notes it in
/// the history. The generations' file says first that this is under way and last
/// that it is done: a process that is killed in between leaves the generation
/// before as the newest, and whoever has the package next does all of it again.
class GenerationSteps {
public:
    /// Takes over what older versions recorded in the history alone; says when that
    /// cannot be read. Throws HostError when the generations cannot.
    GenerationSteps(const StateFolder& state, LogSink& log);

    /// These are for the process that has the package's lock, and throw HostError.

    /// The newest, after finishing what a killed process left. To be called before
    /// the package is learned.
    Generation newest(const std::string& package, OrvoLibrary& library) const;

    /// The newest when it has the label, or nothing is known of it and it can be
    /// given the label; otherwise one begins, which is printed.
    Generation labelled(const std::string& package, const std::string& label,
                        OrvoLibrary& library) const;

    Generation begin(const std::string& package, const std::optional<std::string>& label,
                     OrvoLibrary& library) const;

private:
    bool isUnused(const std::string& package, const Generation& generation) const;
    Generation finish(const std::string& package, Generation generation,
                      OrvoLibrary& library) const;
    void checkErased(const std::string& package) const;
    void note(const std::string& package, const Generation& generation) const;

    const StateFolder& mState;
    LogSink& mLog;
    const GenerationsFile mFile;
};

}  // namespace host
