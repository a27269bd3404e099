// The history of launches: one line of JSON each, in a file of the state folder.
#include "host/state/history.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sys/file.h>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;
constexpr off_t kLargestSize = 4 << 20;  // some 15,000 launches

template <typename T>
std::optional<T> valueAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return found->get<T>();
}

// A name as an entry holds it.
std::string asUtf8(const std::string& name) {
    return Json::parse(jsonLine(name)).get<std::string>();
}

bool isSameFile(int fd, const std::string& path) {
    struct stat held {};
    struct stat there {};
    return fstat(fd, &held) == 0 && stat(path.c_str(), &there) == 0 &&
           held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}

// Another process may rename the file between our opening and our locking it.
UniqueFd openLocked(const std::string& path) {
    while (true) {
        UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
        if (!file.isOpen() || flock(file.get(), LOCK_EX) != 0) return {};
        if (isSameFile(file.get(), path)) return file;
    }
}

bool endsInsideLine(int fd, off_t size) {
    char last = '\n';
    return size > 0 && pread(fd, &last, 1, size - 1) == 1 && last != '\n';
}

// By one call, which other processes' lines cannot come between.
bool appendWhole(int fd, const std::string& text, off_t oldSize) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size())) return fdatasync(fd) == 0;
    if (written >= 0) errno = ENOSPC;
    const int error = errno;
    [[maybe_unused]] const int cut = ftruncate(fd, oldSize);
    errno = error;
    return false;
}

// Empty where there is no file.
std::string contentOf(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!file.isOpen() && errno == ENOENT) return text;
    if (!file.isOpen() || !readWhole(file.get(), text)) {
        throw HostError(kEnvironment, "cannot read " + path + ": " + std::strerror(errno));
    }
    return text;
}

void addEntry(HistoryContents& contents, const LaunchEntry& entry) {
    ++contents.entries;
    if (entry.outcome == kErasedOutcome) {
        contents.byPackage.erase(entry.package);
        return;
    }
    PackageHistory& package = contents.byPackage[entry.package];
    package.lastLaunchedAtUnixMs = entry.launchedAtUnixMs;
    if (entry.endpointMs) package.endpointsMs.push_back(*entry.endpointMs);
}

}  // namespace

std::string toJsonLine(const LaunchEntry& entry) {
    return jsonLine({{"schema_version", kSchemaVersion},
                     {"launched_at_unix_ms", entry.launchedAtUnixMs},
                     {"source", entry.source},
                     {"package", entry.package},
                     {"launch_type", entry.type},
                     {"launch_subtype", entry.subtype},
                     {"outcome", entry.outcome},
                     {"endpoint_ms", orNull(entry.endpointMs)},
                     {"final_endpoint_ms", orNull(entry.finalEndpointMs)}});
}

std::optional<LaunchEntry> parseHistoryLine(std::string_view line) {
    try {
        const Json object = Json::parse(line);
        LaunchEntry entry;
        entry.launchedAtUnixMs = object.at("launched_at_unix_ms").get<std::int64_t>();
        entry.source = object.at("source").get<std::string>();
        entry.package = object.at("package").get<std::string>();
        entry.type = object.at("launch_type").get<std::int32_t>();
        entry.subtype = object.at("launch_subtype").get<std::int32_t>();
        entry.outcome = object.at("outcome").get<std::string>();
        entry.endpointMs = valueAt<std::int32_t>(object, "endpoint_ms");
        entry.finalEndpointMs = valueAt<std::int32_t>(object, "final_endpoint_ms");
        return entry;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

const PackageHistory& HistoryContents::of(const std::string& package) const {
    static const PackageHistory kNone;
    const auto found = byPackage.find(asUtf8(package));
    return found == byPackage.end() ? kNone : found->second;
}

void addHistory(HistoryContents& contents, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty()) continue;
        if (const std::optional<LaunchEntry> entry = parseHistoryLine(line)) {
            addEntry(contents, *entry);
        } else {
            ++contents.unreadableLines;
        }
    }
}

bool History::append(const LaunchEntry& entry) const {
    UniqueFd file = openLocked(mPath);
    if (!file.isOpen()) return false;
    off_t size = lseek(file.get(), 0, SEEK_END);
    if (size >= kLargestSize) {
        if (rename(mPath.c_str(), (mPath + ".1").c_str()) != 0) return false;
        file = openLocked(mPath);
        if (!file.isOpen()) return false;
        size = lseek(file.get(), 0, SEEK_END);
    }
    const char* const closing = endsInsideLine(file.get(), size) ? "\n" : "";
    return appendWhole(file.get(), closing + toJsonLine(entry), size);
}

void History::note(const LaunchEntry& entry) const {
    if (append(entry)) return;
    std::fprintf(stderr, "orvo-host: the history %s cannot be written: %s\n", mPath.c_str(),
                 std::strerror(errno));
}

HistoryContents History::read() const {
    HistoryContents contents;
    addHistory(contents, contentOf(mPath + ".1"));
    addHistory(contents, contentOf(mPath));
    return contents;
}

std::int64_t unixMs() {
    using std::chrono::milliseconds;
    using std::chrono::system_clock;
    return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace host
