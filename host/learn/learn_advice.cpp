// What learn and measure say of launches that did not go as asked.
#include "host/learn/learn_advice.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "host/process/package_name.h"
#include "host/verdict/noise.h"
#include "host/verdict/verdict_text.h"

namespace host {
namespace {

using Lines = std::vector<std::string>;

std::string quoted(const std::string& name) {
    return '\'' + name + '\'';
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + quoted(name);
    return text;
}

std::string verbOf(const AdviceContext& context) {
    return context.isMeasured() ? "measure" : "learn";
}

std::string participleOf(const AdviceContext& context) {
    return context.isMeasured() ? "measured" : "learned";
}

std::string sizeText(std::int64_t kilobytes) {
    return std::to_string((kilobytes + 512) / 1024) + " MB";
}

// The last launch that `fits`: one line covers all that are like it.
const LaunchResult* lastThat(const LearnReport& report,
                             const std::function<bool(const LaunchResult&)>& fits) {
    const auto found = std::find_if(report.launches.rbegin(), report.launches.rend(), fits);
    return found == report.launches.rend() ? nullptr : &*found;
}

const LaunchResult* lastWith(const LearnReport& report, LaunchOutcome outcome) {
    return lastThat(report, [&](const LaunchResult& launch) { return launch.outcome == outcome; });
}

void adviseOnRelearning(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    if (!report.launches.empty() || !report.finalEndpointMs) return;
    lines.push_back(
        report.package +
        " is learned already, and nothing was run; to learn it anew: " + context.eraseCommand);
}

void adviseOnEarlyExit(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    const LaunchResult* const launch = lastWith(report, LaunchOutcome::kExitedEarly);
    if (launch == nullptr) return;
    if (launch->commandEnded) {
        lines.push_back(context.command + " must stay for the launch; what it printed is in " +
                        context.commandOutput);
    } else {
        lines.push_back("the process " + quoted(report.followed) + " ended while " +
                        context.command + " went on; name the one to " + verbOf(context) +
                        " with --follow NAME");
    }
}

std::string remedyFor(const GrownProcess& grown, const LearnReport& report,
                      const AdviceContext& context) {
    if (grown.name == report.followed) {
        return "the two cannot be told apart by their name; " + verbOf(context) +
               " what the child does as " + context.command + ", or have it show another name";
    }
    if (!packageNameFault(grown.name).empty()) return "a name like that cannot be followed";
    return verbOf(context) + " that one with --follow " + quoted(grown.name);
}

// A stored launch of the wrong process has to be forgotten first.
void adviseOnChild(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    const LaunchResult* const launch =
        lastThat(report, [](const LaunchResult& each) { return each.otherGrew.has_value(); });
    if (launch == nullptr) return;
    const GrownProcess& grown = *launch->otherGrew;
    std::string line = "the process " + quoted(report.followed) +
                       " is sampled, but another one of " + context.command + "'s, " +
                       quoted(grown.name) + ", grew by " + sizeText(grown.grownKb) + "; ";
    const bool isToForget = !context.isMeasured() && grown.name != report.followed;
    if (isToForget && lastWith(report, LaunchOutcome::kStored) != nullptr) {
        line += "if that is the one, " + context.eraseCommand + ", and ";
    }
    lines.push_back(line + remedyFor(grown, report, context));
}

std::string longerSampling(const LaunchKind& kind, const AdviceContext& context) {
    const Window window = windowOf(kind);
    if (window == Window::kLong)
        return "it cannot be " + participleOf(context) + " unless it comes to rest";
    std::string longer = windowOption(Window::kLong) + " samples for up to a minute";
    if (window == Window::kExtended) return longer;
    return windowOption(Window::kExtended) + " samples for three seconds, " + longer;
}

// An application under its own name leaves no other process that could be meant.
std::string otherProcess(const LearnReport& report) {
    if (report.followed == report.package) return "";
    return "; if another one is meant, name it with --follow NAME";
}

// Behind what the library saw, by more than its tolerance.
bool wentOnLater(const LaunchResult& launch) {
    if (!launch.judged || launch.judged->seen.seen == 0) return false;
    const std::vector<std::int32_t>& memoryKb = launch.judged->seen.memoryKb;
    const auto behind = memoryKb.begin() + static_cast<std::ptrdiff_t>(launch.judged->seen.seen);
    const double lastKb = *(behind - 1);
    return std::any_of(behind, memoryKb.end(),
                       [&](double kb) { return std::abs(kb - lastKb) > lastKb * kToleranceShare; });
}

enum class Course { kRestless, kRestedFirst, kQuick };

Course courseOf(const LaunchResult& undecided) {
    if (undecided.changedWhileSampled) return Course::kRestless;
    return wentOnLater(undecided) ? Course::kRestedFirst : Course::kQuick;
}

void adviseOnUndecided(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    const auto isAny = [&](Course course) {
        return lastThat(report, [&](const LaunchResult& launch) {
                   return launch.outcome == LaunchOutcome::kUndecided && !launch.otherGrew &&
                          courseOf(launch) == course;
               }) != nullptr;
    };
    const LaunchKind kind = report.kind.value_or(LaunchKind());
    const std::string subject = "an undecided launch's process " + quoted(report.followed);
    if (isAny(Course::kRestless)) {
        lines.push_back(subject + " still changed its memory while it was sampled; " +
                        longerSampling(kind, context) + otherProcess(report));
    }
    if (isAny(Course::kRestedFirst)) {
        const bool isLongest = windowOf(kind) == Window::kLong;
        lines.push_back(subject + " rested while it was sampled, and went on after that; " +
                        (isLongest ? "no window is longer" : longerSampling(kind, context)) +
                        otherProcess(report));
    }
    if (isAny(Course::kQuick)) {
        lines.push_back(subject +
                        " had settled before the first look, 200 ms after the start: such a "
                        "quick one cannot be " +
                        participleOf(context) + otherProcess(report));
    }
}

// What was learned has to be forgotten first.
void adviseOnDoubts(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    const LaunchResult* const launch = doubtedLaunch(report);
    if (launch == nullptr) return;
    const SeenLaunch& seen = launch->judged->seen;
    const Verdict& verdict = launch->judged->verdict;
    std::string line = context.isMeasured() ? "a launch" : "a stored launch";
    line += " is doubted: " + doubtSentences(seen, verdict);
    if (const auto option = remedyOption(seen, verdict)) {
        line += "; " + (context.isMeasured() ? "measure" : context.eraseCommand + ", and learn") +
                " it anew with " + *option;
    } else if (const std::string remedy = remedyText(seen, verdict); !remedy.empty()) {
        line += "; " + remedy;
    }
    lines.push_back(line);
}

// The mean of both means nothing.
void adviseOnWindows(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    if (lastWith(report, LaunchOutcome::kStored) == nullptr || !report.kindBefore) return;
    const Window before = windowOf(*report.kindBefore);
    const Window now = windowOf(report.kind.value_or(LaunchKind()));
    if (before == now) return;
    lines.push_back("launches stored before had " + windowText(before) + ", and now " +
                    windowText(now) + ", which makes no common mean; " + context.eraseCommand +
                    ", and learn it anew");
}

void adviseOnNames(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    if (lastWith(report, LaunchOutcome::kNotFound) == nullptr) return;
    const std::string shown = report.namesShown.empty() ? "none" : listOf(report.namesShown);
    const std::string remedy =
        report.followedWasSeen ? "; a name that changes from launch to launch cannot be followed"
                               : "; name the process to " + verbOf(context) + " with --follow NAME";
    lines.push_back("no process of " + context.command + " shows the name " +
                    quoted(report.followed) + ", those shown: " + shown + remedy);
}

void adviseOnStore(const LearnReport& report, Lines& lines) {
    if (const auto* const launch = lastWith(report, LaunchOutcome::kStoreFailed)) {
        lines.push_back("the store did not keep the launch: " + launch->storeFault);
    }
    const auto isUncounted = [](const LaunchResult& launch) {
        return launch.countFailed && launch.outcome != LaunchOutcome::kStoreFailed;
    };
    if (const auto* const launch = lastThat(report, isUncounted)) {
        lines.push_back("the store did not count a launch: " + launch->storeFault);
    }
}

void adviseOnLibrary(const LearnReport& report, const AdviceContext& context, Lines& lines) {
    if (lastWith(report, LaunchOutcome::kLearningFailed) != nullptr) {
        lines.push_back("the library could not " + verbOf(context) + " a launch; see " +
                        context.log);
    }
    if (lastWith(report, LaunchOutcome::kLimitReached) != nullptr) {
        lines.push_back("the 500th launch of " + report.package +
                        " was not learned: it erased what was known, to begin again");
    }
}

}  // namespace

std::vector<std::string> adviceOn(const LearnReport& report, const AdviceContext& context) {
    Lines lines;
    adviseOnRelearning(report, context, lines);
    adviseOnEarlyExit(report, context, lines);
    adviseOnChild(report, context, lines);
    adviseOnUndecided(report, context, lines);
    adviseOnDoubts(report, context, lines);
    adviseOnWindows(report, context, lines);
    adviseOnNames(report, context, lines);
    adviseOnStore(report, lines);
    adviseOnLibrary(report, context, lines);
    return lines;
}

}  // namespace host
