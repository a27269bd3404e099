// Measures the launches of one command, or of two that alternate.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "host/base/exit_code.h"
#include "host/learn/launch_maker.h"
#include "host/learn/learn_report.h"
#include "host/measure/measure_plan.h"
#include "host/results/results_file.h"

namespace host {

struct MeasureOptions {
    /// The same but for their commands: COMMAND's, and --against's where there is one.
    std::vector<LaunchSettings> commands;
    std::vector<std::vector<std::string>> words;  ///< of each, as they were given
    std::optional<LaunchKind> kind;               ///< none: what probing launches show
    MeasurePlan plan;
    std::string prepare;  ///< lines for the shell, before and behind each run; may be empty
    std::string cleanup;
};

/// How often such a line failed.
struct StepFaults {
    int times = 0;
    int lastCode = 0;
};

struct MeasureReport {
    Results results;                ///< one a command
    std::vector<LearnReport> seen;  ///< of each, as far as advice needs it
    MeasureEnd end = MeasureEnd::kAllRuns;
    int runs = 0;                    ///< of each command, begun
    std::optional<HostError> fault;  ///< that kept it from going on
    StepFaults prepare;              ///< each is a run that was not made
    StepFaults cleanup;
};

/// Which analysis results come from, as far as they may differ by it.
std::string libraryText(const LibraryFile& library, bool fdCounts);

/// The times that are compared.
std::vector<SettledTimes> settledTimes(const Results& results);

/// One per process, on one thread.
class MeasureSession {
public:
    /// `store` is a folder of the session's own. Throws HostError when the store does
    /// not work.
    MeasureSession(const MeasureOptions& options, const StateFolder& store,
                   const StateFolder& state, const CommandOutput& output, LogSink& log,
                   const LibraryOptions& library, Progress& progress);

    /// Until the plan's end, or a person interrupts, or a launch cannot be made.
    MeasureReport run();

private:
    bool makeAll();
    bool chooseKind();
    std::optional<Window> probe(std::size_t command);
    bool makeRuns();
    bool makeWarmups();
    bool runAll(int run, const std::string& title);
    bool runOne(std::size_t command, int run, const std::string& title);
    std::optional<MadeLaunch> launchOnce(std::size_t command, int run, const std::string& title);
    bool prepare(const std::string& title);
    void cleanUp();
    void keep(std::size_t command, int run, const MadeLaunch& launch);
    std::string titleOf(const std::string& title, std::size_t command) const;
    MeasureReport finish();

    const MeasureOptions& mOptions;
    const CommandOutput& mOutput;
    Progress& mProgress;
    OrvoLibrary mLibrary;
    std::vector<LaunchMaker> mMakers;
    std::mt19937 mChance;
    LaunchKind mKind;
    MeasureReport mReport;
};

}  // namespace host
