// Describes to the parsing library what a verb takes.
#include "host/verbs/verb.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "host/base/exit_code.h"
#include "host/base/version.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

class UsageFormatter : public CLI::Formatter {
public:
    explicit UsageFormatter(std::string usage) : mUsage(std::move(usage)) { column_width(28); }
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: " + mUsage + '\n';
    }
    // As man pages have it: "-v, --verbose".
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        std::string name = CLI::Formatter::make_option_name(option, isPositional);
        const std::size_t comma = name.find(',');
        return comma == std::string::npos ? name : name.insert(comma + 1, 1, ' ');
    }

private:
    const std::string mUsage;
};

constexpr std::uint32_t kHighestLogLevel = 255;  // the library looks at one byte

// The usage line says where COMMAND goes, which the parser does not know of.
void useUsage(CLI::App& app, const std::string& usage) {
    app.formatter(std::make_shared<UsageFormatter>(usage));
}

void addCommonOptions(CLI::App& app, Invocation& invocation) {
    app.add_option("--state", invocation.stateFolder,
                   "Folder of the database, properties, dumps and logs\n"
                   "(default $XDG_STATE_HOME/orvo)")
        ->type_name("DIR")
        ->group("Common options");
    app.add_flag("-v,--verbose", invocation.verbose, "Show the library's log on standard error")
        ->group("Common options");
    app.add_option("--log-level", invocation.logLevel,
                   "Level of the library's log in the state folder's orvo.log:\n"
                   "0 errors alone, 3 milestones (default), 4 every sample")
        ->type_name("N")
        ->check(CLI::Range(0U, kHighestLogLevel))
        ->group("Common options");
    app.add_option("--library", invocation.libraryFile,
                   "The libzorv-orvo.so to run (default: the hardened build that belongs\n"
                   "to this program; another one learns without descriptor counts)")
        ->type_name("FILE")
        ->group("Common options");
    app.add_flag("--quiet", invocation.quiet, "No progress on standard error")
        ->group("Common options");
}

std::string describeVersion(const Invocation& invocation) {
    return versionOf("orvo-host") + ", library " + loadLibrary(invocation.library()).text();
}

}  // namespace

void describe(CLI::App& app, Invocation& invocation) {
    useUsage(app, "orvo-host VERB [OPTIONS]");
    app.footer(kExitCodeHelp);
    app.require_subcommand(0, 1);  // a second verb, named after the first, would run in its place
    addCommonOptions(app, invocation);  // of which the version line names a library
    app.set_version_flag("--version", [&invocation] { return describeVersion(invocation); });
    addLearnVerb(app, invocation);
    addWatchVerb(app, invocation);
    addJoinVerb(app, invocation);
    addShowVerb(app, invocation);
    addEraseVerb(app, invocation);
    addDoctorVerb(app, invocation);
    addExplainVerb(app, invocation);
    addPlotVerb(app, invocation);
    addReplayVerb(app, invocation);
    addMeasureVerb(app, invocation);
    addCompareVerb(app, invocation);
    addExportVerb(app, invocation);
    addReportVerb(app, invocation);
}

std::optional<int> parse(Invocation& invocation) {
    CLI::App app("Learns how long programs take to settle after launch.", "orvo-host");
    describe(app, invocation);
    return parse(app, invocation.arguments);
}

VerbOption& VerbOption::isRequired() {
    mOption->required();
    return *this;
}

VerbOption& VerbOption::named(const std::string& value) {
    mOption->type_name(value);
    return *this;
}

VerbOption& VerbOption::from(int low, int high) {
    mOption->check(CLI::Range(low, high));
    return *this;
}

VerbOption& VerbOption::from(double low, double high) {
    // "nan" is in any range, being neither below nor above it.
    const auto isNumber = [](const std::string& text) {
        return std::isnan(std::strtod(text.c_str(), nullptr)) ? text + " is not a number" : "";
    };
    mOption->check(CLI::Range(low, high))->check(isNumber);
    return *this;
}

VerbOption& VerbOption::isPositive() {
    mOption->check(CLI::PositiveNumber);
    return *this;
}

VerbOption& VerbOption::isOneOf(const std::vector<std::string>& words) {
    mOption->check(CLI::IsMember(words));
    return *this;
}

VerbOption& VerbOption::isRepeated() {
    mOption->allow_extra_args(false);
    return *this;
}

VerbOption& VerbOption::excludes(const VerbOption& other) {
    mOption->excludes(other.mOption);
    return *this;
}

Verb::Verb(CLI::App& app, Invocation& invocation, const std::string& name,
           const std::string& description, const std::string& usage)
    : mVerb(app.add_subcommand(name, description)->group("Verbs")), mInvocation(invocation) {
    useUsage(*mVerb, "orvo-host " + name + ' ' + usage);
    mVerb->footer(kExitCodeHelp);
    addCommonOptions(*mVerb, invocation);
}

template <typename Value>
VerbOption Verb::option(const std::string& name, Value& value, const std::string& help) {
    return VerbOption(mVerb->add_option(name, value, help));
}

template VerbOption Verb::option(const std::string&, std::string&, const std::string&);
template VerbOption Verb::option(const std::string&, std::vector<std::string>&, const std::string&);
template VerbOption Verb::option(const std::string&, std::int32_t&, const std::string&);
template VerbOption Verb::option(const std::string&, std::int64_t&, const std::string&);
template VerbOption Verb::option(const std::string&, std::size_t&, const std::string&);
template VerbOption Verb::option(const std::string&, double&, const std::string&);
template VerbOption Verb::option(const std::string&, std::optional<std::int32_t>&,
                                 const std::string&);
template VerbOption Verb::option(const std::string&, std::optional<double>&, const std::string&);
template VerbOption Verb::option(const std::string&, std::optional<std::string>&,
                                 const std::string&);

VerbOption Verb::flag(const std::string& name, bool& value, const std::string& help) {
    return VerbOption(mVerb->add_flag(name, value, help));
}

void Verb::runs(const std::function<int()>& run) {
    mVerb->callback([&invocation = mInvocation, run] { invocation.verb = run; });
}

}  // namespace host
