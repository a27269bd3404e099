// The processes that a launch has started, found in /proc.
#include "host/process/process_tree.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <string>
#include <unistd.h>

#include "host/base/steady_clock.h"
#include "host/process/proc_file.h"

namespace host {

std::set<pid_t> numbersIn(const std::string& folder) {
    std::set<pid_t> numbers;
    const ProcFolder entries = openProcFolder(folder);
    if (!entries) return numbers;
    while (const dirent* entry = readdir(entries.get())) {
        pid_t number = 0;
        const char* const end = entry->d_name + std::strlen(entry->d_name);
        if (std::from_chars(entry->d_name, end, number).ptr == end) numbers.insert(number);
    }
    return numbers;
}

namespace {

// From the parent, the 4th, to the number of threads, the 20th, and the moment of
// the start, the 22nd.
constexpr int kFieldsToThreads = 16;
constexpr int kFieldsToStart = 18;

// For one update, which ends even with a program that keeps detaching. A look
// takes about a millisecond.
constexpr int kMostLooks = 100;

// The number so many fields behind the parent, or 0.
std::uint64_t numberBehind(const char* parent, const char* end, int fields) {
    const char* field = parent;
    for (int i = 0; i < fields; ++i) {
        field = std::find(field, end, ' ');
        if (field == end) return 0;
        ++field;
    }
    std::uint64_t number = 0;
    std::from_chars(field, end, number);
    return number;
}

void keepOnly(std::set<pid_t>& processes, const std::set<pid_t>& present) {
    for (auto it = processes.begin(); it != processes.end();) {
        it = present.count(*it) > 0 ? std::next(it) : processes.erase(it);
    }
}

}  // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    // The name in parentheses may itself hold parentheses and blanks.
    const std::size_t nameEnd = text.rfind(") ");
    if (nameEnd == std::string_view::npos || text.size() < nameEnd + 5) return std::nullopt;
    ProcessStat stat;
    stat.state = text[nameEnd + 2];
    const char* const parent = text.data() + nameEnd + 4;
    const char* const end = text.data() + text.size();
    if (std::from_chars(parent, end, stat.parent).ec != std::errc()) return std::nullopt;
    stat.threads = numberBehind(parent, end, kFieldsToThreads);
    stat.startTicks = numberBehind(parent, end, kFieldsToStart);
    return stat;
}

// The kernel counts from boot, the time asleep included, which the steady clock
// leaves out.
double startedAtMs(std::uint64_t startTicks) {
    timespec sinceBoot{};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const double sinceBootMs =
        static_cast<double>(sinceBoot.tv_sec) * 1e3 + static_cast<double>(sinceBoot.tv_nsec) / 1e6;
    const double startMs =
        1e3 * static_cast<double>(startTicks) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return steadyMs() - (sinceBootMs - startMs);
}

std::optional<ProcessStat> readProcessStat(pid_t process) {
    return parseProcessStat(readProcFile(process, "stat"));
}

std::string shownName(pid_t process) {
    const std::string words = readProcFile(process, "cmdline");
    return words.substr(0, words.find('\0'));
}

ProcessTree::ProcessTree() : mSelf(getpid()), mForeign(numbersIn("/proc")) {
    mForeign.erase(mSelf);
}

// The last one that ended while we looked may have left a child that came behind us:
// it is seen at another look, for nobody reaps the ended one meanwhile.
void ProcessTree::update() {
    std::set<pid_t> ended;
    for (int looks = 0; looks < kMostLooks; ++looks) {
        const std::size_t endedBefore = ended.size();
        look(ended);
        if (!mOwn.empty() || ended.size() == endedBefore) return;
    }
}

void ProcessTree::look(std::set<pid_t>& ended) {
    const std::set<pid_t> present = numbersIn("/proc");
    keepOnly(mForeign, present);
    keepOnly(mOwn, present);

    std::set<pid_t> fresh;
    for (const pid_t process : present) {
        if (process != mSelf && mForeign.count(process) == 0 && mOwn.count(process) == 0) {
            fresh.insert(process);
        }
    }
    // A child may have a smaller number than its parent.
    while (adopt(fresh)) {
    }
    for (auto it = mOwn.begin(); it != mOwn.end();) {
        const std::optional<ProcessStat> stat = readProcessStat(*it);
        const bool isGone = !stat || stat->hasExited();
        if (isGone) ended.insert(*it);
        it = isGone ? mOwn.erase(it) : std::next(it);
    }
}

// Sorts new processes by their parent; true when one became known. One whose
// parent vanished meanwhile waits for the next look, when it has another parent.
bool ProcessTree::adopt(std::set<pid_t>& fresh) {
    bool anyKnown = false;
    for (auto it = fresh.begin(); it != fresh.end();) {
        const std::optional<ProcessStat> stat = readProcessStat(*it);
        const bool own = stat && isOwn(stat->parent);
        const bool foreign = stat && mForeign.count(stat->parent) > 0;
        if (own) mOwn.insert(*it);
        if (foreign) mForeign.insert(*it);
        anyKnown = anyKnown || own || foreign;
        it = own || foreign ? fresh.erase(it) : std::next(it);
    }
    return anyKnown;
}

std::vector<pid_t> ProcessTree::tasks() const {
    std::vector<pid_t> tasks;
    for (const pid_t process : mOwn) {
        const std::set<pid_t> threads = numbersIn("/proc/" + std::to_string(process) + "/task");
        tasks.insert(tasks.end(), threads.begin(), threads.end());
    }
    return tasks;
}

}  // namespace host
