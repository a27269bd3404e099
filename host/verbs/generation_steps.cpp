// Takes a package from one generation to the next.
#include "host/verbs/generation_steps.h"

#include <filesystem>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/dump/dump_name.h"
#include "host/dump/ended_dumps.h"
#include "host/state/history.h"
#include "host/state/store_holder.h"
#include "host/state/store_reader.h"

namespace host {

bool isKnown(const StateFolder& state, const std::string& package) {
    if (GenerationsFile(state.generations()).read().unfinishedOf(package)) return true;
    return std::filesystem::exists(state.database()) &&
           StoreReader(state.database()).package(package).isKnown();
}

GenerationSteps::GenerationSteps(const StateFolder& state, LogSink& log)
    : mState(state), mLog(log), mFile(state.generations()) {
    HistoryContents history;
    try {
        history = History(state.history()).read();
    } catch (const HostError& error) {
        sayLine(error.what());
    }
    mFile.adopt(history);
}

Generation GenerationSteps::newest(const std::string& package, OrvoLibrary& library) const {
    const Generations known = mFile.read();
    const std::optional<Generation> unfinished = known.unfinishedOf(package);
    return unfinished ? finish(package, *unfinished, library) : known.newestOf(package);
}

Generation GenerationSteps::labelled(const std::string& package, const std::string& label,
                                     OrvoLibrary& library) const {
    Generation current = newest(package, library);
    if (current.label == label) return current;
    if (isUnused(package, current)) {
        current.label = label;
        mFile.put(package, current);
        return current;
    }
    Generation next = begin(package, label, library);
    sayLine("generation " + generationText(next) + " of " + package +
            " begins; what was learned of generation " + generationText(current) + " is erased");
    return next;
}

Generation GenerationSteps::begin(const std::string& package,
                                  const std::optional<std::string>& label,
                                  OrvoLibrary& library) const {
    const Generation next{mFile.read().newestOf(package).number + 1, label, true};
    mFile.put(package, next);
    return finish(package, next, library);
}

bool GenerationSteps::isUnused(const std::string& package, const Generation& generation) const {
    const bool isSlashed = package.find('/') != std::string::npos;  // and has no dump
    return !isKnown(mState, package) &&
           History(mState.history()).read().of(package, generation.number).launches == 0 &&
           (isSlashed || !std::filesystem::exists(mState.dumps() + '/' + dumpNameOf(package)));
}

Generation GenerationSteps::finish(const std::string& package, Generation generation,
                                   OrvoLibrary& library) const {
    library.erase(package);
    checkErased(package);
    endDump(mState.dumps(), package, generation.number - 1);
    note(package, generation);
    generation.isErasing = false;
    mFile.put(package, generation);
    return generation;
}

// The erase operation reports no failure, so look.
void GenerationSteps::checkErased(const std::string& package) const {
    if (!StoreReader(mState.database()).package(package).isKnown()) return;
    throw HostError(
        kEnvironment,
        package + " could not be erased: " +
            describeStoreFault(mLog.lastDatabaseError(), mState.database(),
                               "free the disk or make " + mState.database() + " writable"));
}

void GenerationSteps::note(const std::string& package, const Generation& generation) const {
    LaunchEntry entry;
    entry.launchedAtUnixMs = unixMs();
    entry.source = "erase";
    entry.package = package;
    entry.outcome = kErasedOutcome;
    entry.generation = generation.number;
    entry.label = generation.label;
    History(mState.history()).note(entry);
}

}  // namespace host
