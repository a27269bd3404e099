// Comparing two measurements, for the verbs that do: compare, and measure --against.
#include "host/verbs/comparing.h"

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/replaced_file.h"
#include "host/base/standard_streams.h"
#include "host/compare/comparison_picture.h"
#include "host/compare/comparison_report.h"
#include "host/dump/caption.h"
#include "host/dump/picture_file.h"
#include "host/verbs/drawing.h"
#include "host/verbs/verb.h"

namespace host {
namespace {

constexpr double kMostPercent = 1000;

void writePictureOf(const Comparison& comparison, const std::string& file) {
    ComparisonPicture picture;
    picture.format = formatOf(file);
    picture.columns = kTextFileColumns;
    picture.isAscii = picture.format == PictureFormat::kText && !isUtf8Locale();
    replaceFile(file, draw(comparisonScript(comparison, picture)));
}

std::string inCharacters(const Comparison& comparison) {
    ComparisonPicture picture;
    picture.columns = roomOn(terminalSize(), {picture.columns, 0}).columns;
    picture.isAscii = !isUtf8Locale();
    PlotScript script = comparisonScript(comparison, picture);
    script.above = "\n";  // the text above says it all
    return draw(script);
}

// Nobody asked for it: the comparison is complete without it.
std::string pictureBelow(const Comparison& comparison) {
    try {
        return inCharacters(comparison);
    } catch (const HostError& error) {
        sayLine(std::string("no picture: ") + error.what());
        return "";
    }
}

TimeBy timeAskedFor(const CompareOptions& options) {
    return options.by == "opinion" ? TimeBy::kOpinion : TimeBy::kEndpoint;
}

int exitCodeOf(const Comparison& comparison, const CompareOptions& options) {
    if (options.isStrict && comparison.isDoubted()) {
        sayLine("refused by --strict, for doubted launches");
        return kDoubted;
    }
    if (!options.failIfSlowerPercent) return kDone;
    if (comparison.finding == Finding::kTooFewRuns) {
        sayLine("too few runs for --fail-if-slower to tell");
        return kNotLearned;
    }
    return comparison.isSlowerBy(*options.failIfSlowerPercent) ? kSlower : kDone;
}

}  // namespace

void addGateOptions(Verb& verb, CompareOptions& options) {
    verb.option("--fail-if-slower", options.failIfSlowerPercent,
                "Exit with 5 when all of the difference's interval lies beyond so many\n"
                "percent of the old median, and with 1 when too few runs leave that open")
        .named("PERCENT")
        .from(0.0, kMostPercent);
    verb.option("--by", options.by,
                "Compare the times to the library's endpoints (endpoint, default), or to\n"
                "where the second opinion has the launches settle (opinion), which noise\n"
                "moves less")
        .named("WHAT")
        .isOneOf({"endpoint", "opinion"});
    verb.flag("--strict", options.isStrict,
              "Exit with 4 when a launch that is compared is doubted");
}

int reportComparison(const Measurement& older, const Measurement& newer,
                     const CompareOptions& options) {
    const bool hasFile = !options.picture.empty();
    if (hasFile) {  // refused before anything is printed
        formatOf(options.picture);
        checkReplaceable(options.picture);
    }
    const Comparison comparison = compare(older, newer, timeAskedFor(options));
    if (options.isJson) {
        print(jsonLine(jsonOf(comparison)));
    } else {
        print(renderText(comparison) + (hasFile ? "" : pictureBelow(comparison)));
    }
    if (hasFile) writePictureOf(comparison, options.picture);
    return exitCodeOf(comparison, options);
}

}  // namespace host
