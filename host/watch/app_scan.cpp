// Finds newly launched applications among the tasks of the top-app list.
#include "host/watch/app_scan.h"

#include <charconv>

#include "host/process/package_name.h"
#include "host/process/proc_file.h"
#include "host/process/process_tree.h"

namespace host {
namespace {

constexpr std::size_t kLongestShownName = 512;  // a package's is shorter
// Names mostly change right after a process appears. Later they are read at every
// eighth look, not all processes at the same one.
constexpr std::uint64_t kEagerLooks = 200;
constexpr std::uint64_t kLooksBetweenReads = 8;

constexpr std::uint64_t kLooksBetweenCleanings = 256;
constexpr std::string_view kLeaderLine = "\nTgid:\t";

// The command line up to its first NUL; empty for a process that has ended.
std::string readName(const UniqueFd& file) {
    char text[kLongestShownName];
    const ssize_t length = pread(file.get(), text, sizeof text, 0);
    if (length < 1) return {};
    const std::string_view shown(text, static_cast<std::size_t>(length));
    return std::string(shown.substr(0, shown.find('\0')));
}

// The process that the task belongs to; 0 when it is gone.
pid_t readProcessOf(pid_t task) {
    const std::string status = readProcFile(task, "status");
    const std::size_t line = status.find(kLeaderLine);
    if (line == std::string::npos) return 0;
    pid_t process = 0;
    std::from_chars(status.data() + line + kLeaderLine.size(), status.data() + status.size(),
                    process);
    return process;
}

}  // namespace

bool AppProcess::isAlive() const {
    const std::optional<ProcessStat> stat = readProcessStat(pid);
    return stat && stat->startTicks == startTicks && stat->isReadable();
}

AppScan::AppScan() {
    for (const pid_t process : numbersIn("/proc")) {
        const std::string name = shownName(process);
        if (!looksLikePackage(name)) continue;
        const std::optional<ProcessStat> stat = readProcessStat(process);
        if (!stat) continue;
        Known& known = mKnown[process];
        known.startTicks = stat->startTicks;
        known.isLaunched = true;
        known.name = name;
    }
}

std::vector<AppProcess> AppScan::look(const std::vector<pid_t>& tasks) {
    ++mLook;
    std::vector<AppProcess> launches;
    std::unordered_map<pid_t, pid_t> stillThreads;
    for (const pid_t task : tasks) {
        const pid_t process = processOf(task);
        if (process < 1) continue;
        if (process != task) stillThreads[task] = process;
        const auto known = mKnown.find(process);
        if (known != mKnown.end() && known->second.listedAtLook == mLook) continue;
        if (std::optional<AppProcess> launch = lookAt(process)) launches.push_back(*launch);
    }
    mProcessOfThread = std::move(stillThreads);
    letGo();
    return launches;
}

// The list names threads as well as processes, and may name a thread without its
// process.
pid_t AppScan::processOf(pid_t task) {
    const auto known = mKnown.find(task);
    if (known != mKnown.end() && known->second.nameFile.isOpen()) return task;
    const auto thread = mProcessOfThread.find(task);
    return thread != mProcessOfThread.end() ? thread->second : readProcessOf(task);
}

std::optional<AppProcess> AppScan::lookAt(pid_t process) {
    Known& known = mKnown[process];
    known.listedAtLook = mLook;
    if (!known.nameFile.isOpen()) {
        known.joinedAtLook = mLook;
        if (!identify(process, known)) return std::nullopt;
    }
    if (!isDue(process, known)) return std::nullopt;
    std::string name = readName(known.nameFile);
    if (name.empty()) {  // ended; the number may be another's by now
        if (!identify(process, known)) return std::nullopt;
        name = readName(known.nameFile);
    }
    if (known.isLaunched || name == known.name || !takesName(process, known, name)) {
        return std::nullopt;
    }
    known.isLaunched = true;
    return AppProcess{name, process, known.startTicks};
}

bool AppScan::isDue(pid_t process, const Known& known) const {
    return mLook - known.joinedAtLook < kEagerLooks ||
           (mLook + static_cast<std::uint64_t>(process)) % kLooksBetweenReads == 0;
}

// Opens the process's name, and starts afresh when it is not the one we knew.
bool AppScan::identify(pid_t process, Known& known) {
    known.nameFile = openProcFile(procPath(process, "cmdline"));
    const std::optional<ProcessStat> stat = readProcessStat(process);
    if (!known.nameFile.isOpen() || !stat) return false;
    if (stat->startTicks != known.startTicks) {
        known.startTicks = stat->startTicks;
        known.isLaunched = false;
        known.name.clear();
    }
    return true;
}

// True when the process shows a package's name of its own. A runtime writes over
// the name in place, so a look may catch half of it: it must read the same twice.
bool AppScan::takesName(pid_t process, Known& known, const std::string& name) {
    if (looksLikePackage(name) && readName(known.nameFile) != name) return false;
    known.name = name;
    if (!looksLikePackage(name)) return false;
    const std::optional<ProcessStat> stat = readProcessStat(process);
    return stat && shownName(stat->parent) != name;
}

// Processes that left the list are remembered while they live, for an
// application that comes back to the foreground was not launched.
void AppScan::letGo() {
    const bool isCleaning = mLook % kLooksBetweenCleanings == 0;
    for (auto it = mKnown.begin(); it != mKnown.end();) {
        Known& known = it->second;
        bool isForgotten = false;
        if (known.listedAtLook != mLook) {
            known.nameFile.reset();
            isForgotten = isCleaning && !AppProcess{{}, it->first, known.startTicks}.isAlive();
        }
        it = isForgotten ? mKnown.erase(it) : std::next(it);
    }
}

}  // namespace host
