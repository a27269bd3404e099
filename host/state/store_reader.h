// Reads everything learned straight from the database file: the library's own
// operations answer for one package and cannot list.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "framework/tavodb/sqlite.h"

namespace host {

/// Number of stored launch endpoints that make a final endpoint.
constexpr int kLaunchesToLearn = 5;

/// What the store holds of one package.
struct StoredPackage {
    std::string name;
    bool learned = false;
    std::int32_t launchEvents = 0;
    std::vector<std::int32_t> launchEndpointsMs;  ///< not yet averaged, oldest first
    std::vector<std::int32_t> finalEndpointsMs;   ///< one when learned; more is a fault

    /// False when the store has no row of the package.
    bool isKnown() const;

    /// True in states in which the library takes no launch, or takes them for
    /// ever without a result.
    bool isDamaged() const;

    /// The final endpoint as the library would answer it.
    std::optional<std::int32_t> finalEndpointMs() const;
};

/// Throws HostError when the database's files are no regular files: SQLite opens
/// them by their names.
void refuseUnlessDatabaseFiles(const std::string& databaseFile);

/// How to open the database for reading where it is. Throws HostError when that
/// cannot be done.
tavodb::Connection::Access readAccessTo(const std::string& databaseFile);

/// A read-only look at one database file, for one thread. Throws HostError when
/// the file cannot be read or is not a database.
class StoreReader {
public:
    explicit StoreReader(const std::string& databaseFile);

    /// All packages, by name.
    std::vector<StoredPackage> packages();

    /// One package; empty but for its name when nothing is known of it.
    StoredPackage package(const std::string& name);

private:
    bool hasTable(const std::string& name);
    [[noreturn]] void fail() const;

    const std::string mFile;
    tavodb::Connection mConnection;
};

}  // namespace host
