// Files of launches, of which the last are kept.
#include "host/dump/trimmed_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr std::size_t kCopiedAtOnce = std::size_t{1} << 16U;

[[noreturn]] void fail(const std::string& file, const std::string& why) {
    throw HostError(kEnvironment, "cannot write the dump " + printable(file) + ": " + why);
}

struct stat statusOf(const UniqueFd& fd, const std::string& file) {
    struct stat status {};
    if (fstat(fd.get(), &status) != 0) fail(file, std::strerror(errno));
    return status;
}

// The library, which writes dumps, does not report what it could not write; but every
// launch ends a line.
void checkGrowth(const UniqueFd& fd, const std::string& file, off_t sizeBefore) {
    const off_t size = statusOf(fd, file).st_size;
    char last = 0;
    const bool endsLine = size > sizeBefore && pread(fd.get(), &last, 1, size - 1) == 1;
    if (!endsLine || last != '\n') fail(file, "it did not take all of the launch; free the disk");
}

bool copyFrom(off_t start, int from, int to) {
    std::string buffer(kCopiedAtOnce, '\0');
    for (;;) {
        const ssize_t length = pread(from, buffer.data(), buffer.size(), start);
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return length == 0;
        if (!writeWhole(to, {buffer.data(), static_cast<std::size_t>(length)})) return false;
        start += length;
    }
}

}  // namespace

void TrimmedFiles::append(const std::string& file, const std::function<void(int fd)>& write) {
    // Before anybody opens it who would follow a link or wait for a pipe.
    const UniqueFd fd = openKeptFile(file, O_RDWR | O_APPEND | O_CREAT);
    if (!fd.isOpen()) fail(file, std::strerror(errno));
    Known known = lookInto(fd, file);
    mKnown.erase(file);  // until it is whole again
    note(known, known.size);
    write(fd.get());
    checkGrowth(fd, file, known.size);
    known.size = statusOf(fd, file).st_size;
    if (known.starts.size() > most()) trim(fd, file, known);
    mKnown[file] = std::move(known);
}

TrimmedFiles::Known TrimmedFiles::lookInto(const UniqueFd& fd, const std::string& file) const {
    const struct stat status = statusOf(fd, file);
    const auto found = mKnown.find(file);
    if (found != mKnown.end() && found->second.device == status.st_dev &&
        found->second.inode == status.st_ino && found->second.size == status.st_size) {
        return found->second;
    }
    Known known{status.st_dev, status.st_ino, status.st_size, {}};
    mFindStarts(fd.get(), printable(file), [&](off_t start) { note(known, start); });
    return known;
}

// Only as many of the last launches matter as it takes to trim.
void TrimmedFiles::note(Known& known, off_t start) const {
    known.starts.push_back(start);
    if (known.starts.size() > most() + 1) known.starts.pop_front();
}

// Beside it and then over it, so that there is never half a file. What a kill
// leaves beside it is removed the next time.
void TrimmedFiles::trim(const UniqueFd& fd, const std::string& file, Known& known) const {
    while (known.starts.size() > mKept)
        known.starts.pop_front();
    const off_t start = known.starts.front();
    const std::string fresh = file + ".new";
    unlink(fresh.c_str());
    const UniqueFd to = openKeptFile(fresh, O_WRONLY | O_CREAT | O_EXCL);
    if (!copyFrom(start, fd.get(), to.get()) || std::rename(fresh.c_str(), file.c_str()) != 0) {
        const int error = errno;
        unlink(fresh.c_str());
        fail(file, std::string("it cannot be trimmed: ") + std::strerror(error));
    }
    const struct stat status = statusOf(to, file);
    known.device = status.st_dev;
    known.inode = status.st_ino;
    known.size = status.st_size;
    for (off_t& kept : known.starts)
        kept -= start;
}

}  // namespace host
