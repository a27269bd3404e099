// A file of lines that several processes append to, and that stays bounded.
#include "host/base/rotating_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

#include "host/base/locked_file.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"

namespace host {
namespace {

off_t sizeOf(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? status.st_size : 0;
}

bool endsInsideLine(int fd, off_t size) {
    char last = '\n';
    return size > 0 && pread(fd, &last, 1, size - 1) == 1 && last != '\n';
}

// 0, or what went wrong.
int writeAtOnce(int fd, const std::string& text) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0) return errno;
    return written == static_cast<ssize_t>(text.size()) ? 0 : ENOSPC;
}

}  // namespace

void RotatingFile::append(const std::string& lines) {
    open();
    if (const int error = writeAtOnce(mFile.get(), lines)) fail(error);
}

void RotatingFile::appendForGood(const std::string& lines) {
    open();
    mFile.reset();
    mFile = openLocked(mPath, O_APPEND);
    const off_t size = sizeOf(mFile.get());
    const char* const closing = endsInsideLine(mFile.get(), size) ? "\n" : "";
    int error = writeAtOnce(mFile.get(), closing + lines);
    if (error != 0) [[maybe_unused]]
        const int cut = ftruncate(mFile.get(), size);
    if (error == 0 && fdatasync(mFile.get()) != 0) error = errno;
    dropLock(mFile.get(), {});
    if (error != 0) fail(error);
}

// Another process may have renamed the file since the last time.
void RotatingFile::open() {
    const auto openAnew = [this] {
        mFile.reset();
        mFile = openKeptFile(mPath, O_RDWR | O_CREAT | O_APPEND);
    };
    if (!mFile.isOpen() || !isAt(mFile.get(), mPath)) openAnew();
    if (sizeOf(mFile.get()) < kLargestSize) return;
    rotate();
    openAnew();
}

// Whoever finds it locked leaves it to the other, or to the next line.
void RotatingFile::rotate() {
    if (!takeLock(mFile.get(), mPath, {}, 0)) return;
    if (isAt(mFile.get(), mPath)) std::rename(mPath.c_str(), (mPath + ".1").c_str());
    dropLock(mFile.get(), {});
}

void RotatingFile::fail(int error) const {
    throw HostError(kEnvironment, "cannot write " + mPath + ": " + std::strerror(error));
}

}  // namespace host
