// Files of launches, of which the last are kept.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>

#include "host/base/unique_fd.h"

namespace host {

/// Each file keeps its last launches, and up to a quarter more, so that it is not
/// rewritten each time. To be used by the one process that appends to them.
class TrimmedFiles {
public:
    using Note = std::function<void(off_t start)>;
    /// Notes where each launch in the file starts, and throws HostError for any other
    /// file; `name` is for messages.
    using FindStarts = std::function<void(int fd, const std::string& name, const Note& note)>;

    TrimmedFiles(std::size_t launchesKept, FindStarts findStarts)
        : mKept(launchesKept), mFindStarts(std::move(findStarts)) {}

    /// Has `write` append one launch, which ends a line, to the file. Throws HostError
    /// when it cannot be written whole.
    void append(const std::string& file, const std::function<void(int fd)>& write);

private:
    // What is known of a file while it is as we left it.
    struct Known {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        std::deque<off_t> starts;  // of the last launches, as many as trimming looks at
    };

    Known lookInto(const UniqueFd& fd, const std::string& file) const;
    void note(Known& known, off_t start) const;
    void trim(const UniqueFd& fd, const std::string& file, Known& known) const;
    std::size_t most() const { return mKept + mKept / 4; }

    const std::size_t mKept;
    const FindStarts mFindStarts;
    std::map<std::string, Known> mKnown;  // by the file's path
};

}  // namespace host
