// The readers of the history and the generations, from the text to what show
// prints of it.
#include <algorithm>

#include "fuzz/support.h"
#include "host/base/json_text.h"
#include "host/state/package_report.h"

namespace {

constexpr std::size_t kLongestLine = 64;  // short, so that inputs have longer ones

std::string_view withoutReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

// The lines as they are when the text is there whole, and their number.
std::size_t requireLines(std::string_view text) {
    host::LineReader lines(fuzz::readsOf(text), kLongestLine);
    std::size_t number = 0;
    for (std::size_t offset = 0; offset < text.size(); lines.skip()) {
        const host::TextLine line = lines.peek();
        const std::string_view rest = text.substr(offset);
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        fuzz::require(!lines.atEnd() && line.number == static_cast<std::int64_t>(++number));
        fuzz::require(line.offset == static_cast<std::int64_t>(offset));
        fuzz::require(line.isTooLong == (length > kLongestLine));
        fuzz::require(line.text == withoutReturn(rest.substr(0, std::min(length, kLongestLine))));
        offset += length + 1;
    }
    fuzz::require(lines.atEnd());
    return number;
}

std::vector<host::StoredPackage> packagesIn(const host::HistoryContents& history) {
    std::vector<host::StoredPackage> packages;
    for (const auto& [name, generations] : history.byPackage)
        packages.emplace_back().name = name;
    return packages;
}

void requireGenerations(std::string_view text) {
    std::string written;
    try {
        written = host::Generations::parse(text).toText();
    } catch (const std::exception&) {
        return;
    }
    fuzz::require(host::Generations::parse(written).toText() == written);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t lines = requireLines(text);
    host::HistoryContents history;
    host::addHistory(history, fuzz::readsOf(text));
    fuzz::require(history.entries + history.unreadableLines <= lines);

    host::Generations generations;
    generations.add(history);
    const std::vector<host::StoredPackage> packages = packagesIn(history);
    const host::Json printed = host::Json::parse(host::renderJson(packages, history, generations));
    fuzz::require(printed["packages"].size() == packages.size());
    for (std::size_t i = 0; i < packages.size(); ++i) {
        const std::int32_t newest = generations.newestOf(packages[i].name).number;
        const host::PackageHistory& launches = history.of(packages[i].name, newest);
        const host::Json& package = printed["packages"][i];
        fuzz::require(package["generation"] == newest);
        fuzz::require(package["last_launched_at_unix_ms"].is_null() ==
                      !launches.lastLaunchedAtUnixMs);
        fuzz::require(package["launches_measured"].is_null() == launches.endpointsMs.empty());
    }
    host::renderCsv(packages, history, generations, false);
    host::renderText(packages, history, generations);
    requireGenerations(text);
    return 0;
}
