// Options that several verbs have.
#include "host/verbs/shared_options.h"

#include "host/base/exit_code.h"
#include "host/process/command.h"
#include "host/process/package_name.h"
#include "host/process/process_look.h"
#include "host/verbs/verb.h"

namespace host {
namespace {

LaunchKind kindByNumbers(const LaunchArguments& arguments) {
    const LaunchKind kind{arguments.type.value_or(1), arguments.subtype.value_or(0)};
    const std::string fault = launchKindFault(kind);
    if (!fault.empty()) throw HostError(kUsage, "launch " + fault);
    return kind;
}

void addWindowOptions(Verb& verb, LaunchArguments& arguments, const std::string& automatic) {
    verb.option("--window", arguments.window,
                "How long the library samples a launch: short (1 s), extended (3 s),\n"
                "long (up to 60 s), or auto (default): what a probing launch asks for" +
                    automatic)
        .named("NAME");
    verb.option("--type", arguments.type,
                "The window by the launch type that the library is told: 1 (default)\n"
                "or 2, the long launch")
        .named("T");
    verb.option("--subtype", arguments.subtype,
                "And the subtype (default 0): of type 1, 1 and 2 are extended; of type\n"
                "2, 1 and 2 must be stable for longer, -1 not as long")
        .named("S");
    verb.option("--look-after", arguments.lookAfterSeconds,
                "Go on looking behind each launch for so long, to see whether memory\n"
                "stays (default: as long as the window, one, three or sixty seconds;\n"
                "0: do not)")
        .named("SECONDS")
        .from(0.0, 3600.0);
}

}  // namespace

void addLaunchOptions(Verb& verb, LaunchArguments& arguments, const std::string& what,
                      const std::string& automatic) {
    verb.option("--follow", arguments.settings.follow,
                what +
                    " the process of COMMAND that shows this name (default: the one\n"
                    "that it is launched under, or the one that is shown in its place)")
        .named("NAME");
    addWindowOptions(verb, arguments, automatic);
    verb.flag("--keep-name", arguments.keepName,
              "Leave COMMAND's argv[0] alone, for a program that needs its own");
    verb.flag("--no-fd-counts", arguments.noFdCounts,
              "Learn from memory and the OOM score alone, for a process that opens and\n"
              "closes descriptors all the time");
    verb.flag("--real-cpuset", arguments.realCpuset,
              "Launch in the kernel's own top-app cpuset (root, cgroup version 1)");
}

void checkLaunchArguments(LaunchArguments& arguments, const std::string& name) {
    LaunchSettings& settings = arguments.settings;
    const std::string fault = packageNameFault(settings.package);
    if (!fault.empty()) throw HostError(kUsage, name + ' ' + fault);
    const std::string followFault =
        settings.follow.empty() ? "" : packageNameFault(settings.follow);
    if (!followFault.empty()) throw HostError(kUsage, "the name to --follow " + followFault);
    settings.fdCounts = !arguments.noFdCounts;
    if (arguments.lookAfterSeconds >= 0) settings.lookAfterMs = 1000 * arguments.lookAfterSeconds;
}

std::optional<LaunchKind> kindAskedFor(const LaunchArguments& arguments) {
    const std::string& name = arguments.window;
    const bool hasNumbers = arguments.type || arguments.subtype;
    if (name.empty()) return hasNumbers ? std::optional(kindByNumbers(arguments)) : std::nullopt;
    if (hasNumbers)
        throw HostError(kUsage, "--window stands for --type and --subtype: give one or the other");
    const std::optional<Window> window = windowNamed(name);
    if (!window && name != "auto")
        throw HostError(kUsage,
                        "the --window '" + name + "' is not one of short, extended, long, auto");
    return window ? std::optional(kindOf(*window)) : std::nullopt;
}

// A shell under the package's name would be taken for the application that it starts.
CommandLine commandLineOf(const LaunchArguments& arguments, const std::vector<std::string>& words) {
    CommandLine line{findProgram(words.front()), words};
    const bool keepsName = arguments.keepName || isShell(words.front());
    if (!keepsName) line.arguments.front() = arguments.settings.package;
    return line;
}

void addDumpOptions(Verb& verb, DumpArguments& arguments) {
    verb.flag("--dump", arguments.dump, "Write each launch's series to the dumps folder");
    verb.option("--keep-dumps", arguments.dumpsKept,
                "Launches of a package that its dump keeps, the last (default 50)")
        .named("N")
        .from(1, 1'000'000);
}

}  // namespace host
