// Checks of what the runs need, each with a remedy.
#include "host/verbs/checkup.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/tavodb/sqlite.h"
#include "host/base/exit_code.h"
#include "host/base/text_file.h"
#include "host/library/orvo_library.h"
#include "host/process/command.h"
#include "host/process/task_list.h"
#include "host/root/device_root.h"
#include "host/state/generations.h"
#include "host/state/history.h"
#include "host/state/store_holder.h"
#include "host/state/store_reader.h"
#include "platform/tavo_log.h"

namespace host {
namespace {

constexpr std::uint32_t kLevelBits = 0xff;

// The finding of a check that throws when something is amiss.
template <typename Check>
CheckFinding finding(const std::string& subject, Check check) {
    try {
        return {Health::kWell, subject, check()};
    } catch (const HostError& error) {
        return {Health::kAmiss, subject, error.what()};
    }
}

[[noreturn]] void complain(const std::string& text) {
    throw HostError(kEnvironment, text);
}

std::string describeTaskList() {
    const std::size_t tasks = TaskListReader(kTaskListPath).read().size();
    const bool isKernels = isKernelTaskList(kTaskListPath);
    if (!isKernels) {
        const TaskListKeeper keeper(kTaskListPath);
    } else if (access(kTaskListPath, W_OK) != 0) {
        complain(std::string("cannot join ") + kTaskListPath + ": " + std::strerror(errno) +
                 "; run as root, or only watch");
    }
    return std::string(kTaskListPath) + ", kept by " + (isKernels ? "the kernel" : "the host") +
           ", " + std::to_string(tasks) + " tasks";
}

std::string describeDumpFolder() {
    if (access(kDumpFolder, W_OK | X_OK) == 0) return kDumpFolder;
    const int error = errno;
    complain(std::string("cannot write ") + kDumpFolder + ": " + std::strerror(error) + "; " +
             (error == EROFS ? "mount it for writing" : "create it (mkdir -p) and own it") +
             ", or no dump is written");
}

std::filesystem::path nearestThere(std::filesystem::path path) {
    while (!std::filesystem::exists(path))
        path = path.parent_path();
    return path;
}

// Others could lock its files, or read what was launched when.
void checkPrivacy(const StateFolder& state) {
    struct stat status {};
    if (stat(state.path().c_str(), &status) != 0 || (status.st_mode & 077) == 0) return;
    complain("other users can read " + state.path() + "; run: chmod 700 " + state.path());
}

CheckFinding checkProcesses() {
    const std::string fault =
        hasArrivedInDeviceRoot() ? ownProcessesFault() : "its root is there already";
    if (fault.empty()) {
        return {Health::kWell, "processes", "learn has its own, and all of them end with it"};
    }
    return {Health::kNote, "processes",
            "learn shares the machine's (" + fault +
                "): killed by KILL, it may leave some of what COMMAND started"};
}

std::string describeFolder(const StateFolder& state) {
    const std::filesystem::path folder = nearestThere(state.path());
    const bool exists = folder == state.path();
    if (!std::filesystem::is_directory(folder)) complain(folder.string() + " is not a folder");
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        const int error = errno;
        complain("cannot write " + folder.string() + ": " + std::strerror(error) + "; " +
                 (error == EROFS ? "what is there can be shown; to learn, mount it for writing"
                                 : "own it (chown)") +
                 ", or choose another with --state");
    }
    if (!exists) return state.path() + ", made by the first run";
    state.refuseIfForeign();
    checkPrivacy(state);
    return state.path();
}

[[noreturn]] void complainOfStore(const std::string& what, const std::string& file,
                                  const tavodb::Connection& connection, const std::string& remedy) {
    complain(what + ' ' + file + ": " +
             describeStoreFault(sqlite3_errmsg(connection.handle()), file, remedy));
}

void checkIntegrity(const std::string& file) {
    tavodb::Connection connection;
    tavodb::Statement check;
    const bool isOpen = connection.open(file, readAccessTo(file)) &&
                        check.prepare(connection, "PRAGMA integrity_check");
    const tavodb::StatementRun run(check);
    if (!isOpen || check.step() != tavodb::Outcome::kRow) {
        complainOfStore("cannot check", file, connection,
                        "move it away, and everything is learned anew");
    }
    const tavodb::Bytes column = check.column(0);
    const std::string result(static_cast<const char*>(column.data), column.size);
    if (result == "ok") return;
    complain(file + " is damaged (" + result + "); move it away, and everything is learned anew");
}

void checkWritable(const std::string& file) {
    tavodb::Connection connection;
    if (connection.open(file, tavodb::Connection::Access::kReadWriteCreate) &&
        connection.execute("BEGIN IMMEDIATE") && connection.execute("ROLLBACK")) {
        return;
    }
    complainOfStore("cannot write", file, connection, "own it, and free the disk");
}

std::string describeStore(const std::string& file) {
    if (!std::filesystem::exists(file)) return "nothing learned yet";
    const std::vector<StoredPackage> packages = StoreReader(file).packages();
    for (const StoredPackage& package : packages) {
        if (package.isDamaged()) {
            complain("what is stored of " + package.name + " is damaged; run: orvo-host erase " +
                     package.name);
        }
    }
    checkIntegrity(file);
    // The state folder's line reports a read-only mount.
    const bool isReadOnly = readAccessTo(file) == tavodb::Connection::Access::kReadOnlyUnchanging;
    if (!isReadOnly) checkWritable(file);
    return file + ", " + std::to_string(packages.size()) + " packages, intact";
}

std::string describeHistory(const StateFolder& state) {
    const HistoryContents history = History(state.history()).read();
    std::string text = std::to_string(history.entries) + " entries";
    if (history.unreadableLines == 0) return text;
    return text + ", and " + std::to_string(history.unreadableLines) +
           " lines that are cut off or unreadable, which are skipped";
}

std::string describeGenerations(const StateFolder& state) {
    const std::size_t packages = GenerationsFile(state.generations()).read().packages().size();
    return "known for " + std::to_string(packages) + " packages";
}

std::string describeProperties(const StateFolder& state) {
    return readKeptTextFile(state.properties()).empty() ? "none, nor is any needed"
                                                        : state.properties();
}

std::string describeLogLevel() {
    const std::uint32_t before = getTavoLogLevel();
    setTavoLogLevel(kFollowingLevel);
    const std::uint32_t level = getTavoLogLevel() & kLevelBits;
    setTavoLogLevel(before);
    if (level >= kFollowingLevel) return "can be set to " + std::to_string(kFollowingLevel);
    complain("stays at " + std::to_string(level) + "; launches cannot be followed below " +
             std::to_string(kFollowingLevel) + ": raise the framework's level");
}

}  // namespace

bool isWell(const std::vector<CheckFinding>& findings) {
    return std::none_of(findings.begin(), findings.end(), [](const CheckFinding& finding) {
        return finding.health == Health::kAmiss;
    });
}

std::vector<CheckFinding> checkDevicePaths() {
    return {finding("task list", describeTaskList), finding("dump folder", describeDumpFolder),
            checkProcesses()};
}

std::vector<CheckFinding> checkState(const StateFolder& state) {
    return {finding("state folder", [&] { return describeFolder(state); }),
            finding("store", [&] { return describeStore(state.database()); }),
            finding("history", [&] { return describeHistory(state); }),
            finding("generations", [&] { return describeGenerations(state); }),
            finding("properties", [&] { return describeProperties(state); })};
}

std::vector<CheckFinding> checkTools() {
    std::vector<CheckFinding> findings{finding("log level", describeLogLevel)};
    if (!isInstalled("gnuplot")) {
        findings.push_back({Health::kNote, "gnuplot",
                            "not installed; orvo-host plot needs it: apt-get install gnuplot-nox"});
    }
    return findings;
}

}  // namespace host
