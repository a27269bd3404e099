// Which name the processes of a launch show, to be told to the library.
#include "host/learn/shown_name.h"

#include <algorithm>
#include <optional>

#include "host/base/printable.h"
#include "host/process/package_name.h"

namespace host {
namespace {

// A script has executed its program by then, and a runtime has given itself its
// name; most do within 100 ms.
constexpr double kHoldsMs = 500;

// A shell that has started nothing by then is the program itself.
constexpr double kShellItselfMs = 1500;

// Programs that prepare a launch have ended by then.
constexpr double kGiveUpMs = 2000;

// Of the memory of all topmost processes.
constexpr double kDominantShare = 0.75;

const ProcessLook* find(const std::vector<ProcessLook>& tree, pid_t pid) {
    const auto found = std::find_if(tree.begin(), tree.end(),
                                    [&](const ProcessLook& look) { return look.pid == pid; });
    return found == tree.end() ? nullptr : &*found;
}

// Whether shells alone stand above the process.
bool isTop(const ProcessLook& look, const std::vector<ProcessLook>& tree) {
    const ProcessLook* above = find(tree, look.parent);
    // At most as often as there are processes: looks at a tree that changes may
    // show a circle.
    for (std::size_t i = 0; above != nullptr && i < tree.size(); ++i) {
        if (!isShell(above->name)) return false;
        above = find(tree, above->parent);
    }
    return above == nullptr;
}

// The name that all of them show, or else the one with most of the memory.
std::optional<std::string> dominantName(const std::vector<ProcessLook>& processes) {
    std::map<std::string, double> memoryByName;
    double totalKb = 0;
    for (const ProcessLook& look : processes) {
        memoryByName[look.name] += static_cast<double>(look.memoryKb);
        totalKb += static_cast<double>(look.memoryKb);
    }
    for (const auto& [name, memoryKb] : memoryByName) {
        if (memoryByName.size() == 1 || memoryKb > kDominantShare * totalKb) return name;
    }
    return std::nullopt;
}

std::vector<std::string> namesOf(const std::vector<ProcessLook>& tree) {
    std::vector<std::string> names;
    for (const ProcessLook& look : tree) {
        const bool isNew = std::find(names.begin(), names.end(), look.name) == names.end();
        if (isNew && !look.name.empty()) names.push_back(look.name);
    }
    return names;
}

}  // namespace

void ShownName::take(double sinceReleaseMs, const std::vector<ProcessLook>& tree) {
    if (mVerdict != Verdict::kOpen) return;
    note(sinceReleaseMs, tree);
    mNames = namesOf(tree);
    if (tree.empty() || std::find(mNames.begin(), mNames.end(), mWanted) != mNames.end()) return;
    decide(sinceReleaseMs, tree);
}

void ShownName::note(double nowMs, const std::vector<ProcessLook>& tree) {
    std::map<pid_t, Showing> showing;
    for (const ProcessLook& look : tree) {
        const auto before = mShowing.find(look.pid);
        const bool isSame = before != mShowing.end() && before->second.name == look.name;
        showing[look.pid] = {look.name, isSame ? before->second.sinceMs : nowMs};
    }
    mShowing = std::move(showing);
}

bool ShownName::holds(double nowMs, const ProcessLook& look) const {
    return !look.name.empty() && nowMs - mShowing.at(look.pid).sinceMs >= kHoldsMs;
}

std::vector<ProcessLook> ShownName::topmost(double nowMs,
                                            const std::vector<ProcessLook>& tree) const {
    std::vector<ProcessLook> programs;
    std::vector<ProcessLook> shells;
    for (const ProcessLook& look : tree) {
        if (holds(nowMs, look) && isTop(look, tree))
            (isShell(look.name) ? shells : programs).push_back(look);
    }
    return programs.empty() && nowMs >= kShellItselfMs ? shells : programs;
}

void ShownName::decide(double nowMs, const std::vector<ProcessLook>& tree) {
    const std::optional<std::string> name = dominantName(topmost(nowMs, tree));
    if (name && packageNameFault(*name).empty()) {
        mName = *name;
        mVerdict = Verdict::kOther;
    } else if (nowMs >= kGiveUpMs) {
        mVerdict = Verdict::kNone;
    }
}

std::string notFoundYet(const std::string& wanted, const std::vector<std::string>& shown) {
    std::string names;
    for (const std::string& name : shown)
        names += (names.empty() ? "'" : ", '") + printable(name) + '\'';
    return "not found yet: no process shows the name '" + printable(wanted) + "', but " + names;
}

}  // namespace host
