// Recorded launches in the formats of other tools: which formats there are.
#include "host/export/launch_export.h"

#include <stdexcept>

namespace host {
namespace {

struct Format {
    const char* name;
    std::unique_ptr<LaunchExport> (*make)();
};
constexpr Format kFormats[] = {
    {"csv", exportCsv},
    {"json", exportJson},
    {"trace", exportTrace},
    {"markdown", exportMarkdown},
};

}  // namespace

std::vector<std::string> exportFormats() {
    std::vector<std::string> names;
    for (const Format& format : kFormats)
        names.emplace_back(format.name);
    return names;
}

std::unique_ptr<LaunchExport> exportAs(const std::string& format) {
    for (const Format& known : kFormats) {
        if (format == known.name) return known.make();
    }
    throw std::invalid_argument("no format " + format);
}

}  // namespace host
