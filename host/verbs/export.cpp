// orvo-host export: recorded launches for other tools.
#include <memory>

#include "host/base/exit_code.h"
#include "host/base/replaced_file.h"
#include "host/export/launch_export.h"
#include "host/library/log_sink.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct ExportArguments {
    std::string source;
    std::string generation;  // empty: the newest
    std::string format;
    std::string file;  // empty: standard output
};

// Prints as it goes, or gathers what a file is replaced by as a whole.
class Destination {
public:
    explicit Destination(std::string file) : mFile(std::move(file)) {}

    void take(const std::string& text) {
        mText += text;
        if (mFile.empty() && mText.size() >= kPrintedAtOnce) printAll();
    }

    void finish() {
        if (mFile.empty()) return printAll();
        replaceFile(mFile, mText);
    }

private:
    void printAll() {
        print(mText);
        mText.clear();
    }

    const std::string mFile;
    std::string mText;
};

int exportLaunches(const ExportArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    if (!arguments.file.empty()) checkReplaceable(arguments.file);
    LogSink log("", invocation.logLevel, invocation.verbose);
    Destination destination(arguments.file);
    const std::unique_ptr<LaunchExport> launches = exportAs(arguments.format);
    destination.take(launches->start());
    for (const Recording& recording :
         recordingsGivenAs(arguments.source, arguments.generation, invocation)) {
        destination.take(launches->startRecording(recording));
        forEachLaunch(recording,
                      [&](const DumpedLaunch& launch) { destination.take(launches->add(launch)); });
        destination.take(launches->endRecording());
    }
    destination.take(launches->end());
    destination.finish();
    return kDone;
}

}  // namespace

void addExportVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<ExportArguments>();
    Verb verb(program, invocation, "export", "Hand recorded launches on to other tools",
              "PACKAGE|FILE.csv|FILE.json --format FORMAT [OPTIONS]");
    verb.option("PACKAGE", arguments->source,
                "A package with a dump, a dump's file, or what measure -o wrote")
        .isRequired();
    verb.option("--format", arguments->format,
                "csv: all series, a value a line; json: all that is known; trace:\n"
                "for a trace viewer; markdown: a table of the launches")
        .named("FORMAT")
        .isRequired()
        .isOneOf(exportFormats());
    verb.option("-o,--output", arguments->file,
                "File to write, whole or not at all (default: standard output)")
        .named("FILE");
    addGenerationOption(verb, arguments->generation);
    verb.runs([arguments, &invocation] { return exportLaunches(*arguments, invocation); });
}

}  // namespace host
