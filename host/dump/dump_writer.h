// Writes the dumps of launches that the host followed.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <sys/types.h>

#include "host/base/unique_fd.h"
#include "host/library/series_recorder.h"

namespace host {

/// The launches of a package that are kept by default.
constexpr std::size_t kDumpsKept = 50;

/// Writes where the library would, so in the private root alone. To be used by
/// the one process that learns the package.
class DumpWriter {
public:
    /// `folder` is where a person finds the dumps, for messages; the library's own
    /// counts when that is another.
    DumpWriter(const std::string& folder, std::size_t launchesKept);

    /// Appends to the package's dump, byte for byte, what the library would have
    /// written of the launch: one block an evaluation, and a marker for one that
    /// was stopped. A launch that was never evaluated nor stopped leaves nothing.
    ///
    /// The library runs its analysis for this once more, on this thread. Of the
    /// launches before, the last stay in the file: as many as are to be kept, and
    /// up to a quarter more, so that it is not rewritten each time.
    ///
    /// Throws HostError when the file is no dump, or cannot be written whole.
    void write(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
               std::int32_t subtype);

private:
    /// What is known of a file while it is as we left it.
    struct Known {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        std::deque<off_t> starts;  // of the last launches, as many as trimming looks at
    };

    Known lookInto(const UniqueFd& fd, const std::string& file);
    void note(Known& known, off_t start) const;
    void trim(const UniqueFd& fd, const std::string& file, Known& known) const;
    std::size_t most() const { return mKept + mKept / 4; }

    const std::string mFolder;
    const std::size_t mKept;
    std::map<std::string, Known> mKnown;  // by the file's path
};

}  // namespace host
