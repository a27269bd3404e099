// The generations of each package: an erasure ends one and begins the next.
#include "host/state/generations.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/locked_file.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr int kGenerationsVersion = 1;
constexpr std::size_t kLongestLabel = 64;  // of a table's line
constexpr std::size_t kMostListed = 10;

bool isNumber(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

std::string listOf(const std::vector<Generation>& generations) {
    const std::size_t left = generations.size() - std::min(generations.size(), kMostListed);
    std::string text = left > 0 ? "..." : "";
    for (std::size_t i = left; i < generations.size(); ++i)
        text += (text.empty() ? "" : ", ") + generationText(generations[i]);
    return text;
}

Generation parseGeneration(const Json& object) {
    const auto number = object.at("generation").get<std::int64_t>();
    if (number < 1 || number > kHighestGeneration) throw std::out_of_range("no generation");
    Generation generation{static_cast<std::int32_t>(number)};
    if (!object.at("label").is_null()) generation.label = object.at("label").get<std::string>();
    generation.isErasing = object.at("erasing").get<bool>();
    return generation;
}

}  // namespace

std::string labelFault(const std::string& text) {
    if (text.empty()) return "is empty";
    if (text.size() > kLongestLabel) {
        return "is longer than " + std::to_string(kLongestLabel) + " bytes";
    }
    if (printable(text) != text) return "holds characters that cannot be shown";
    if (text.front() == ' ' || text.back() == ' ') return "starts or ends with a blank";
    if (isNumber(text))
        return "is a number, which generations have themselves; put a letter before it";
    return "";
}

std::string generationText(const Generation& generation) {
    const std::string number = std::to_string(generation.number);
    return generation.label ? number + " (" + printable(*generation.label) + ')' : number;
}

std::vector<Generation> Generations::of(const std::string& package) const {
    std::map<std::int32_t, Generation> known;
    const auto found = mByPackage.find(asUtf8(package));
    if (found != mByPackage.end()) known = found->second;
    if (!known.empty() && known.rbegin()->second.isErasing) known.erase(std::prev(known.end()));
    // Numbers leave no gap, so those before a newest one were there.
    const std::int32_t newest = known.empty() ? 1 : known.rbegin()->first;
    for (std::int32_t number = std::max(1, newest - kGenerationsKept + 1); number <= newest;
         ++number)
        known.try_emplace(number, Generation{number});
    std::vector<Generation> result;
    for (const auto& [number, generation] : known)
        result.push_back(generation);
    return result;
}

Generation Generations::newestOf(const std::string& package) const {
    return of(package).back();
}

std::optional<Generation> Generations::unfinishedOf(const std::string& package) const {
    const auto found = mByPackage.find(asUtf8(package));
    if (found == mByPackage.end()) return std::nullopt;
    const Generation& newest = found->second.rbegin()->second;
    return newest.isErasing ? std::optional<Generation>(newest) : std::nullopt;
}

Generation Generations::chosenOf(const std::string& package,
                                 const std::string& numberOrLabel) const {
    const std::vector<Generation> all = of(package);
    const auto found = std::find_if(all.rbegin(), all.rend(), [&](const Generation& generation) {
        return generation.label == numberOrLabel ||
               std::to_string(generation.number) == numberOrLabel;
    });
    if (found != all.rend()) return *found;
    throw HostError(kUsage, "there is no generation '" + numberOrLabel + "' of " + package +
                                "; there are " + listOf(all));
}

std::set<std::string> Generations::packages() const {
    std::set<std::string> names;
    for (const auto& [package, generations] : mByPackage)
        names.insert(package);
    return names;
}

void Generations::put(const std::string& package, const Generation& generation) {
    auto& all = mByPackage[asUtf8(package)];
    all[generation.number] = generation;
    all.erase(all.begin(), all.lower_bound(all.rbegin()->first - kGenerationsKept + 1));
}

bool Generations::add(const HistoryContents& history) {
    bool isNewer = false;
    for (const auto& [package, byNumber] : history.byPackage) {
        const std::int32_t newest = byNumber.rbegin()->first;
        isNewer = isNewer || newest > std::max(newestOf(package).number,
                                               unfinishedOf(package).value_or(Generation()).number);
        for (const auto& [number, told] : byNumber)
            mByPackage[package].try_emplace(number, Generation{number, told.label});
    }
    return isNewer;
}

std::string Generations::toText() const {
    std::string text;
    for (const auto& [package, byNumber] : mByPackage) {
        for (const auto& [number, generation] : byNumber) {
            text += jsonLine({{"schema_version", kGenerationsVersion},
                              {"package", package},
                              {"generation", number},
                              {"label", orNull(generation.label)},
                              {"erasing", generation.isErasing}});
        }
    }
    return text;
}

Generations Generations::parse(std::string_view text) {
    Generations result;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        const Json object = parseJson(text.substr(0, length));
        result.put(object.at("package").get<std::string>(), parseGeneration(object));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return result;
}

Generations GenerationsFile::read() const {
    const UniqueFd file = openKeptFile(mPath, O_RDONLY);
    return file.isOpen() ? parse(file.get()) : Generations();
}

void GenerationsFile::put(const std::string& package, const Generation& generation) const {
    change([&](Generations& all) { all.put(package, generation); });
}

// The newest alone: the history still has those before it.
void GenerationsFile::adopt(const HistoryContents& history) const {
    Generations known = read();
    if (!known.add(history)) return;
    change([&](Generations& all) {
        for (const auto& [package, byNumber] : history.byPackage) {
            const auto& [number, told] = *byNumber.rbegin();
            const bool isNewer = number > all.newestOf(package).number;
            if (isNewer && !all.unfinishedOf(package)) all.put(package, {number, told.label});
        }
    });
}

// Through the descriptor that has the lock: closing another would drop that.
template <typename Change>
void GenerationsFile::change(Change change) const {
    const UniqueFd file = openLocked(mPath, 0);
    Generations all = parse(file.get());
    change(all);
    replaceBy(all.toText());
}

Generations GenerationsFile::parse(int fd) const {
    std::string text;
    if (!readWhole(fd, text)) fail("read", std::strerror(errno));
    try {
        return Generations::parse(text);
    } catch (const std::exception&) {
        fail("read", "it holds a line that is not a generation; repair it, or move the file away");
    }
}

void GenerationsFile::replaceBy(const std::string& text) const {
    const std::string fresh = mPath + ".new";
    unlink(fresh.c_str());
    const UniqueFd file = openKeptFile(fresh, O_WRONLY | O_CREAT | O_EXCL);
    const std::string folder = mPath.substr(0, mPath.rfind('/') + 1);
    const UniqueFd names(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const bool isDone = writeWhole(file.get(), text) && fdatasync(file.get()) == 0 &&
                        std::rename(fresh.c_str(), mPath.c_str()) == 0;
    if (isDone) {
        fsync(names.get());  // as far as the file system can
        return;
    }
    const int error = errno;
    unlink(fresh.c_str());
    fail("write", std::strerror(error));
}

void GenerationsFile::fail(const std::string& what, const std::string& why) const {
    throw HostError(kEnvironment, "cannot " + what + ' ' + mPath + ": " + why);
}

}  // namespace host
