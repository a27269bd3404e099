// Writes the dump of a launch that the host followed.
#include "host/dump/dump_writer.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/unique_fd.h"
#include "host/dump/analysis.h"
#include "host/dump/dump_name.h"
#include "host/library/log_sink.h"
#include "host/root/device_root.h"

namespace host {
namespace {

constexpr mode_t kForOwnerAlone = 0600;

[[noreturn]] void fail(const std::string& file, const std::string& why) {
    throw HostError(kEnvironment, "cannot write the dump " + printable(file) + ": " + why);
}

// The library would follow a link, and wait for a pipe's reader.
UniqueFd openToAppend(const std::string& file) {
    constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    UniqueFd fd(open(file.c_str(), kFlags, kForOwnerAlone));
    if (!fd.isOpen()) fail(file, std::strerror(errno));
    struct stat there {};
    if (fstat(fd.get(), &there) != 0 || !S_ISREG(there.st_mode)) fail(file, "it is no file");
    return fd;
}

off_t sizeOf(const UniqueFd& fd) {
    struct stat there {};
    return fstat(fd.get(), &there) == 0 ? there.st_size : 0;
}

/// The library does not tell what it could not write; every block and every
/// marker ends a line.
bool endsLine(const UniqueFd& fd) {
    char last = 0;
    return pread(fd.get(), &last, 1, sizeOf(fd) - 1) == 1 && last == '\n';
}

void analyse(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
             std::int32_t subtype) {
    const LogPause pause;
    Analysis analysis(type, subtype);
    analysis.writeDumpOf(package);
    for (const SeriesLengths& seen : launch.evaluations)
        analysis.evaluate(launch.series, seen);
    if (launch.isAborted) analysis.abort();
}

}  // namespace

void writeDump(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
               std::int32_t subtype) {
    if (launch.evaluations.empty() && !launch.isAborted) return;
    const std::string file = std::string(kDumpFolder) + '/' + dumpNameOf(package);
    if (package.find('/') != std::string::npos) fail(file, "no PACKAGE with '/' in it has one");
    const UniqueFd fd = openToAppend(file);
    const off_t sizeBefore = sizeOf(fd);
    analyse(package, launch, type, subtype);
    if (sizeOf(fd) <= sizeBefore || !endsLine(fd)) fail(file, "is the disk full?");
}

}  // namespace host
