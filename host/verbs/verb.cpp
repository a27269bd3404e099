// What all verbs take, and the table of the verbs.
#include "host/verbs/verb.h"

#include "host/base/exit_code.h"
#include "host/base/version.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

constexpr int kHighestLogLevel = 255;  // the library looks at one byte
constexpr const char* kHeadline = "Common options";

void addCommonOptions(Options& options, Invocation& invocation) {
    options
        .option("--state", invocation.stateFolder,
                "Folder of the database, properties, dumps and logs\n"
                "(default $XDG_STATE_HOME/orvo)")
        .named("DIR")
        .under(kHeadline);
    options.flag("-v,--verbose", invocation.verbose, "Show the library's log on standard error")
        .under(kHeadline);
    options
        .option("--log-level", invocation.logLevel,
                "Level of the library's log in the state folder's orvo.log:\n"
                "0 errors alone, 3 milestones (default), 4 every sample")
        .named("N")
        .from(0, kHighestLogLevel)
        .under(kHeadline);
    options
        .option("--library", invocation.libraryFile,
                "The libzorv-orvo.so to run (default: the hardened build that belongs\n"
                "to this program; another one learns without descriptor counts)")
        .named("FILE")
        .under(kHeadline);
    options.flag("--quiet", invocation.quiet, "No progress on standard error").under(kHeadline);
}

std::string describeVersion(const Invocation& invocation) {
    return versionOf("orvo-host") + ", library " + loadLibrary(invocation.library()).text();
}

void describe(Program& program, Invocation& invocation) {
    program.setUsage("orvo-host VERB [OPTIONS]");
    program.setFooter(kExitCodeHelp);
    addCommonOptions(program, invocation);  // of which the version line names a library
    program.setVersion([&invocation] { return describeVersion(invocation); });
    addLearnVerb(program, invocation);
    addWatchVerb(program, invocation);
    addJoinVerb(program, invocation);
    addShowVerb(program, invocation);
    addEraseVerb(program, invocation);
    addDoctorVerb(program, invocation);
    addExplainVerb(program, invocation);
    addPlotVerb(program, invocation);
    addReplayVerb(program, invocation);
    addMeasureVerb(program, invocation);
    addCompareVerb(program, invocation);
    addExportVerb(program, invocation);
    addReportVerb(program, invocation);
}

}  // namespace

std::optional<int> parse(Invocation& invocation) {
    Program program("orvo-host", "Learns how long programs take to settle after launch.");
    describe(program, invocation);
    return program.parse(invocation.arguments);
}

Verb::Verb(Program& program, Invocation& invocation, const std::string& name,
           const std::string& description, const std::string& usage)
    : Options(program.verb(name, description)), mInvocation(invocation) {
    setUsage("orvo-host " + name + ' ' + usage);
    setFooter(kExitCodeHelp);
    addCommonOptions(*this, invocation);
}

void Verb::runs(const std::function<int()>& run) {
    whenCalled([&invocation = mInvocation, run] { invocation.verb = run; });
}

}  // namespace host
