// The generations of each package: an erasure ends one and begins the next.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/state/history.h"

namespace host {

/// Of a package those whose dumps and labels are kept, the newest included: a
/// dump of 50 long launches takes 35 MB.
constexpr std::int32_t kGenerationsKept = 10;

struct Generation {
    std::int32_t number = 1;
    std::optional<std::string> label{};
    /// What was learned before it may still be there; until that is erased the
    /// generation before counts.
    bool isErasing = false;
};

/// Why the text cannot be a label; empty when it can.
std::string labelFault(const std::string& text);

/// "2", "2 (v2)".
std::string generationText(const Generation& generation);

class Generations {
public:
    /// In order, except one that is still erasing: those that are recorded, and the
    /// last before the newest, which is 1 where nothing is recorded.
    std::vector<Generation> of(const std::string& package) const;
    Generation newestOf(const std::string& package) const;

    /// The one that is still erasing.
    std::optional<Generation> unfinishedOf(const std::string& package) const;

    /// The one of that number, or the newest of that label. Throws HostError,
    /// kUsage, which lists what there is.
    Generation chosenOf(const std::string& package, const std::string& numberOrLabel) const;

    /// All that are recorded, as asUtf8().
    std::set<std::string> packages() const;

    /// In place of one with the same number; those too old to be kept go.
    void put(const std::string& package, const Generation& generation);

    /// Adds those of the history that are not known yet. True when
    /// one is newer than all that were.
    bool add(const HistoryContents& history);

    /// One line of JSON a generation: schema_version 1, package, generation, label,
    /// erasing. Parsing throws std::exception for anything else.
    std::string toText() const;
    static Generations parse(std::string_view text);

private:
    std::map<std::string, std::map<std::int32_t, Generation>> mByPackage;  // as asUtf8()
};

/// The file of the generations, apart from the history, which forgets. It is
/// replaced whole and outlasts a power cut; its size is bounded by the packages.
class GenerationsFile {
public:
    explicit GenerationsFile(std::string path) : mPath(std::move(path)) {}

    /// All throw HostError.
    Generations read() const;
    void put(const std::string& package, const Generation& generation) const;

    /// Takes over what older versions recorded in the history alone.
    void adopt(const HistoryContents& history) const;

private:
    template <typename Change>
    void change(Change change) const;
    Generations parse(int fd) const;
    void replaceBy(const std::string& text) const;
    [[noreturn]] void fail(const std::string& what, const std::string& why) const;

    const std::string mPath;
};

}  // namespace host
