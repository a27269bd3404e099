// orvo-host compare: two measurements, and whether the newer one is slower.
#include <memory>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/results/results_file.h"
#include "host/verbs/comparing.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct CompareArguments {
    std::string older;
    std::string newer;  // empty: both are in one file
    CompareOptions options;
};

Measurement onlyMeasurementOf(const std::string& file) {
    Results results = readResults(file);
    if (results.size() == 1) return std::move(results.front());
    throw HostError(kUsage, printable(file) +
                                " holds two measurements, of measure --against; "
                                "compare that file by itself");
}

Results bothOf(const CompareArguments& arguments) {
    if (!arguments.newer.empty())
        return {onlyMeasurementOf(arguments.older), onlyMeasurementOf(arguments.newer)};
    Results results = readResults(arguments.older);
    if (results.size() == 2) return results;
    throw HostError(kUsage, printable(arguments.older) +
                                " holds one measurement; name the file to compare it with");
}

int compareFiles(const CompareArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const Results both = bothOf(arguments);
    return reportComparison(both.front(), both.back(), arguments.options);
}

}  // namespace

void addCompareVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<CompareArguments>();
    Verb verb(program, invocation, "compare", "Tell whether a newer measurement is slower",
              "OLD.json NEW.json|BOTH.json [OPTIONS]");
    verb.option("OLD", arguments->older,
                "The older measurement's file, or one of measure --against with both")
        .isRequired();
    verb.option("NEW", arguments->newer, "The newer measurement's file");
    addGateOptions(verb, arguments->options);
    verb.option("-o,--output", arguments->options.picture,
                "Picture to write, by its name's end: .svg, .png or .txt\n"
                "(default: in characters below the text)")
        .named("FILE");
    verb.flag("--json", arguments->options.isJson, "Print one JSON object");
    verb.runs([arguments, &invocation] { return compareFiles(*arguments, invocation); });
}

}  // namespace host
