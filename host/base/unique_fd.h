// A file descriptor with one owner.
#pragma once

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "host/base/exit_code.h"

namespace host {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(mFd, other.mFd);
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return mFd; }
    bool isOpen() const { return mFd >= 0; }
    void reset() {
        if (mFd >= 0) close(std::exchange(mFd, -1));
    }

private:
    int mFd = -1;
};

/// A pipe whose ends programs started later do not inherit unless told to.
struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw HostError(kEnvironment, std::string("cannot make a pipe: ") +
                                              std::strerror(errno) +
                                              "; raise the limit of open files (ulimit -n)");
        }
        readEnd = UniqueFd(ends[0]);
        writeEnd = UniqueFd(ends[1]);
    }
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

}  // namespace host
