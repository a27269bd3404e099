// The library as its host sees it: operations of the two functions with names.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/library/library_file.h"
#include "host/library/log_sink.h"
#include "host/state/state_folder.h"

namespace host {

/// The level of the library's log from which a launch can be followed: some of
/// the lines about its course are details.
constexpr std::uint32_t kFollowingLevel = 4;

/// How often stop() is repeated, and how long for; a stop is seen within about a
/// second.
constexpr int kStopRepeatMs = 250;
constexpr double kStopLimitMs = 15'000;

/// Which library is run, and how.
struct LibraryOptions {
    std::optional<std::string> file;  ///< none: the hardened build of this program's own
    std::uint32_t logLevel = 3;

    /// The same, with a log by which launches can be followed.
    LibraryOptions followed() const { return {file, std::max(logLevel, kFollowingLevel)}; }
};

/// Throws HostError when it cannot be loaded.
LibraryFile loadLibrary(const LibraryOptions& options);

/// The initialised library; at most one per process. Once it was made, the
/// process leaves with _exit (feature/orvo.h says why).
class OrvoLibrary {
public:
    /// Loads the library, which opens the store in `state` and starts its learning
    /// thread, and writes no dumps: those are the host's, under the package's name.
    /// Throws HostError when that fails.
    OrvoLibrary(const LibraryOptions& options, const StateFolder& state, LogSink& log);

    /// Shuts the library down.
    ~OrvoLibrary();
    OrvoLibrary(const OrvoLibrary&) = delete;
    OrvoLibrary& operator=(const OrvoLibrary&) = delete;

    /// Has the store keep under `package` what it is told of `shownName`, which the
    /// library must be told in all calls of a launch, for its key is the name that
    /// the process shows. There is one such pair; to be set between launches.
    void keepUnder(const std::string& package, const std::string& shownName);

    void launch(std::string package, std::int32_t type, std::int32_t subtype);

    /// Abandons the launch being learned. Lost when the learning thread has not
    /// taken the launch yet, so it is worth repeating until the launch ends.
    void stop(std::string package);

    void erase(std::string package);

    const LibraryFile& file() const { return mFile; }

    /// Adds open-descriptor counts to the launch being learned. Only for the hardened
    /// build: in the default one a call with any never returns.
    void sendFdCounts(std::string package, const std::vector<std::int32_t>& counts);

    /// The pid that the library last found for the package; 1 without one.
    std::int32_t pid(std::string package);

    /// 0 while the package is not learned.
    std::int32_t finalEndpointMs(std::string package);

private:
    const LibraryFile mFile;
};

}  // namespace host
