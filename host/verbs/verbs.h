// The verbs of orvo-host; each file beside this one is one verb.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/base/arguments.h"
#include "host/base/standard_streams.h"
#include "host/library/orvo_library.h"
#include "host/state/generations.h"
#include "host/state/state_folder.h"

namespace host {

struct DumpSource;
struct Recording;
class Program;
class Verb;

/// How the program was called, as far as all verbs share it.
struct Invocation {
    explicit Invocation(const std::vector<std::string>& argv) : program(argv), arguments(argv) {}

    std::vector<std::string> program;  ///< argv whole, to start it again elsewhere
    Arguments arguments;

    std::string stateFolder;  ///< empty: the default
    bool verbose = false;
    bool quiet = false;
    std::uint32_t logLevel = 3;
    std::optional<std::string> libraryFile;  ///< none: the program's own

    /// Set by the parser to the verb that was called; returns the exit code.
    std::function<int()> verb;

    std::string statePath() const;
    LibraryOptions library() const { return {libraryFile, logLevel}; }

    /// For a verb that only looks. Throws HostError when a person gave a folder
    /// that is not there.
    StateFolder existingState() const;
};

/// Parses the invocation's arguments and sets its verb. Returns an exit code when the
/// answer (help, version) has been printed. Throws HostError, kUsage.
std::optional<int> parse(Invocation& invocation);

/// Each adds its verb to `program`. The invocation must outlive the verb.
void addLearnVerb(Program& program, Invocation& invocation);
void addWatchVerb(Program& program, Invocation& invocation);
void addJoinVerb(Program& program, Invocation& invocation);
void addShowVerb(Program& program, Invocation& invocation);
void addEraseVerb(Program& program, Invocation& invocation);
void addDoctorVerb(Program& program, Invocation& invocation);
void addExplainVerb(Program& program, Invocation& invocation);
void addPlotVerb(Program& program, Invocation& invocation);
void addReplayVerb(Program& program, Invocation& invocation);
void addMeasureVerb(Program& program, Invocation& invocation);
void addCompareVerb(Program& program, Invocation& invocation);
void addExportVerb(Program& program, Invocation& invocation);
void addReportVerb(Program& program, Invocation& invocation);

/// The dump that an argument names; a package's is in the state folder, which must
/// be there (existingState), and of its newest generation unless another is given.
/// Throws HostError.
DumpSource dumpGivenAs(const std::string& argument, const std::string& generation,
                       const Invocation& invocation);

/// Whether an argument names a file, and not a package.
bool isFile(const std::string& argument);

/// What an argument names: a results file when it ends in ".json", otherwise as
/// dumpGivenAs() has it. Throws HostError.
std::vector<Recording> recordingsGivenAs(const std::string& argument, const std::string& generation,
                                         const Invocation& invocation);

void addGenerationOption(Verb& verb, std::string& generation);

/// All that is in the generations' file and the history. Throws HostError.
Generations readGenerations(const StateFolder& state, const HistoryContents& history);

/// Runs a write beside the store; a failure is reported, and ends nothing.
void tellFailure(const std::function<void()>& write);

/// Throws HostError when a command follows a verb that takes none.
void refuseCommand(const Invocation& invocation);

/// The remedy for results that did not reach standard output.
constexpr const char* kLearnedIsKept = "what was learned is kept, and orvo-host show prints it";

}  // namespace host
