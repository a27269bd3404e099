// Which name the processes of a launch show, to be told to the library.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/process/process_look.h"

namespace host {

/// The library finds a process by the name that it shows. Fed with looks at the
/// processes of one launch, this says whether they show the name that the
/// library looks for, and if none does, which one they show instead.
///
/// The process meant is the topmost one that is not a shell, or the shell when it
/// starts nothing. Of several, the one that holds most of the memory counts.
class ShownName {
public:
    enum class Verdict {
        kOpen,   ///< too early to say, or the wanted name is shown
        kOther,  ///< another name is shown: name()
        kNone,   ///< no one name stands out: names()
    };

    explicit ShownName(std::string wanted) : mWanted(std::move(wanted)) {}

    /// Looks must come several times a second. What was decided stays.
    void take(double sinceReleaseMs, const std::vector<ProcessLook>& tree);

    Verdict verdict() const { return mVerdict; }
    const std::string& name() const { return mName; }

    /// The names in the last look, each once.
    const std::vector<std::string>& names() const { return mNames; }

private:
    struct Showing {
        std::string name;
        double sinceMs = 0;
    };

    void note(double nowMs, const std::vector<ProcessLook>& tree);
    bool holds(double nowMs, const ProcessLook& look) const;
    std::vector<ProcessLook> topmost(double nowMs, const std::vector<ProcessLook>& tree) const;
    void decide(double nowMs, const std::vector<ProcessLook>& tree);

    const std::string mWanted;
    std::map<pid_t, Showing> mShowing;
    std::vector<std::string> mNames;
    Verdict mVerdict = Verdict::kOpen;
    std::string mName;
};

/// When to warn whoever named a process to follow that none shows that name.
constexpr double kNameNoteAfterMs = 3000;

/// "not found yet: no process shows the name 'app', but 'sh', 'java'".
std::string notFoundYet(const std::string& wanted, const std::vector<std::string>& shown);

}  // namespace host
