// orvo-host report: a page to send to a colleague.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/replaced_file.h"
#include "host/base/version.h"
#include "host/library/log_sink.h"
#include "host/report/comparison_section.h"
#include "host/state/store_reader.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

constexpr std::size_t kCompared = 2;

struct ReportArguments {
    std::vector<std::string> sources;      // empty: all packages
    std::vector<std::string> generations;  // empty: the newest
    std::string file;
};

ReportedLaunches launchesOf(const Recording& recording) {
    ReportedLaunches launches;
    forEachLaunch(recording, [&](DumpedLaunch launch) { launches.add(std::move(launch)); });
    return launches;
}

class Reporter {
public:
    Reporter(const ReportArguments& arguments, const Invocation& invocation)
        : mArguments(arguments), mInvocation(invocation) {}

    std::string html() {
        const bool needsState = mArguments.sources.empty() ||
                                std::any_of(mArguments.sources.begin(), mArguments.sources.end(),
                                            [](const auto& source) { return !isFile(source); });
        if (needsState) readState();
        if (!mArguments.generations.empty()) {
            addGenerations();
        } else {
            addSources();
        }
        addComparison();
        return mPage.html(versionOf("orvo-host"), unixMs());
    }

private:
    void readState() {
        const StateFolder state = mInvocation.existingState();
        mHistory = History(state.history()).read();
        mGenerations = readGenerations(state, mHistory);
        if (!std::filesystem::exists(state.database())) return;
        StoreReader store(state.database());
        for (StoredPackage& package : store.packages()) {
            if (mArguments.sources.empty() || isAsked(package.name))
                mStored.push_back(std::move(package));
        }
    }

    bool isAsked(const std::string& package) const {
        return std::find(mArguments.sources.begin(), mArguments.sources.end(), package) !=
               mArguments.sources.end();
    }

    bool isStored(const std::string& package) const {
        return std::any_of(mStored.begin(), mStored.end(),
                           [&](const StoredPackage& stored) { return stored.name == package; });
    }

    void addGenerations() {
        const std::string& package = mArguments.sources.front();
        std::vector<GenerationRow> rows;
        for (const std::string& chosen : mArguments.generations) {
            const Generation generation = mGenerations.chosenOf(package, chosen);
            rows.push_back({package, generation, mHistory.of(asUtf8(package), generation.number)});
            addRecording(Recording(dumpGivenAs(package, chosen, mInvocation)));
        }
        mPage.setKnown(tableOf(rows));
    }

    void addSources() {
        mPage.setKnown(tableOf(mStored, mHistory, mGenerations));
        std::vector<std::string> sources = mArguments.sources;
        for (const StoredPackage& package : mStored) {
            if (mArguments.sources.empty()) sources.push_back(package.name);
        }
        if (sources.empty())
            throw HostError(kNotLearned, "nothing is learned in " +
                                             printable(mInvocation.statePath()) +
                                             " yet; there is nothing to report");
        for (const std::string& source : sources) {
            if (isFile(source) || !isStored(source)) {
                for (const Recording& recording : recordingsGivenAs(source, "", mInvocation))
                    addRecording(recording);
            } else {
                addStored(source);
            }
        }
    }

    void addStored(const std::string& package) {
        const DumpSource source = dumpGivenAs(package, "", mInvocation);
        if (!std::filesystem::exists(source.file)) return mPage.addUnrecorded(package);
        addRecording(Recording(source));
    }

    void addRecording(Recording recording) {
        if (recording.dump && recording.dump->isOfState && !recording.dump->ended) {
            const Generation newest = mGenerations.newestOf(asUtf8(recording.name));
            if (newest.number > 1 || newest.label)
                recording.title += ", generation " + generationText(newest);
        }
        ReportedLaunches launches = launchesOf(recording);
        mPage.add(recording, launches);
        if (mAdded.size() <= kCompared)
            mAdded.emplace_back(std::move(recording), std::move(launches));
    }

    // Two generations, or two files or measurements, are there to be compared; two
    // packages are not.
    void addComparison() {
        const bool areFiles = std::none_of(mAdded.begin(), mAdded.end(), [](const auto& added) {
            return added.first.dump && added.first.dump->isOfState;
        });
        if (mAdded.size() != kCompared || (!areFiles && mArguments.generations.empty())) return;
        const auto& [older, before] = mAdded.front();
        const auto& [newer, after] = mAdded.back();
        mPage.setComparison(comparisonSection({older, before}, {newer, after}));
    }

    const ReportArguments& mArguments;
    const Invocation& mInvocation;
    HistoryContents mHistory;
    Generations mGenerations;
    std::vector<StoredPackage> mStored;
    std::vector<std::pair<Recording, ReportedLaunches>> mAdded;  // the first few
    ReportPage mPage;
};

int report(const ReportArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const bool isOnePackage = arguments.sources.size() == 1 && !isFile(arguments.sources.front());
    if (!arguments.generations.empty() && !isOnePackage)
        throw HostError(kUsage, "--generation takes a single PACKAGE; name no others");
    if (arguments.generations.size() > kCompared)
        throw HostError(kUsage, "--generation can be given twice at most, to compare two");
    checkReplaceable(arguments.file);
    LogSink log("", invocation.logLevel, invocation.verbose);
    replaceFile(arguments.file, Reporter(arguments, invocation).html());
    return kDone;
}

}  // namespace

void addReportVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<ReportArguments>();
    Verb verb(program, invocation, "report", "Write a page about launches, to send to a colleague",
              "[PACKAGE|FILE.csv|FILE.json...] -o FILE.html [OPTIONS]");
    verb.option("PACKAGE", arguments->sources,
                "Packages, dumps' files, or what measure -o wrote (default: all\n"
                "packages that are known)");
    verb.option("-o,--output", arguments->file, "Page to write, whole or not at all")
        .named("FILE")
        .isRequired();
    verb.option("--generation", arguments->generations,
                "Of one PACKAGE this generation, by its number or the newest of its\n"
                "label (default the newest); given twice, the two are compared")
        .named("N|LABEL")
        .isRepeated();
    verb.runs([arguments, &invocation] { return report(*arguments, invocation); });
}

}  // namespace host
