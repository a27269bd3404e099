// Reads everything learned straight from the database file.
#include "host/state/store_reader.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <sys/statvfs.h>

#include "framework/tavodb/schema.h"
#include "host/base/exit_code.h"
#include "host/base/regular_file.h"
#include "host/state/store_holder.h"

namespace host {
namespace {

using Access = tavodb::Connection::Access;
using tavodb::Bytes;
using tavodb::Outcome;
using tavodb::Statement;

constexpr const char* kStatusTable = "OrvoStatus";
constexpr const char* kLearningTable = "OrvoLearning";
constexpr const char* kFinalTable = "OrvoEP";

std::int32_t int32At(Bytes value, std::size_t offset) {
    std::int32_t result = 0;
    if (value.size < offset + sizeof result) return 0;
    std::memcpy(&result, static_cast<const char*>(value.data) + offset, sizeof result);
    return result;
}

// The row formats stand at the top of store/orvo_dblayer.cpp.
void takeStatus(StoredPackage& package, Bytes value) {
    package.learned = value.size > 0 && *static_cast<const char*>(value.data) != 0;
    package.launchEvents = int32At(value, sizeof(std::int32_t));
}

void takeLaunchEndpoint(StoredPackage& package, Bytes value) {
    package.launchEndpointsMs.push_back(int32At(value, 0));
}

void takeFinalEndpoint(StoredPackage& package, Bytes value) {
    package.finalEndpointsMs.push_back(int32At(value, 0));
}

struct TableReader {
    const char* name;
    void (*take)(StoredPackage&, Bytes);
};
constexpr TableReader kTables[] = {
    {kStatusTable, takeStatus},
    {kLearningTable, takeLaunchEndpoint},
    {kFinalTable, takeFinalEndpoint},
};

bool forEachRow(Statement& statement, const std::function<void()>& takeRow) {
    const tavodb::StatementRun run(statement);
    Outcome outcome = statement.step();
    for (; outcome == Outcome::kRow; outcome = statement.step())
        takeRow();
    return outcome == Outcome::kDone;
}

bool isOnReadOnlyMount(const std::string& file) {
    struct statvfs status {};
    return statvfs(file.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

}  // namespace

bool StoredPackage::isKnown() const {
    return launchEvents != 0 || learned || !launchEndpointsMs.empty() || !finalEndpointsMs.empty();
}

bool StoredPackage::isDamaged() const {
    return (learned && !finalEndpointMs()) || launchEndpointsMs.size() >= kLaunchesToLearn;
}

std::optional<std::int32_t> StoredPackage::finalEndpointMs() const {
    if (!learned || finalEndpointsMs.size() != 1 || finalEndpointsMs[0] < 1) return std::nullopt;
    return finalEndpointsMs[0];
}

void refuseUnlessDatabaseFiles(const std::string& databaseFile) {
    for (const char* end : {"", "-wal", "-shm", "-journal"})
        refuseUnlessRegular(databaseFile + end);
}

// Readers of a write-ahead log keep account of each other in a file beside the
// database, which cannot be made on a read-only mount. Nor does anybody write
// there, so that none is needed, but for a log that was left unfinished.
Access readAccessTo(const std::string& file) {
    if (!isOnReadOnlyMount(file)) return Access::kReadOnly;
    std::error_code error;
    const auto logSize = std::filesystem::file_size(file + "-wal", error);
    if (error || logSize == 0) return Access::kReadOnlyUnchanging;
    throw HostError(kEnvironment, "the store " + file +
                                      " is on a read-only mount and its last writer was killed; "
                                      "copy the state folder, and give the copy with --state");
}

StoreReader::StoreReader(const std::string& databaseFile) : mFile(databaseFile) {
    refuseUnlessDatabaseFiles(mFile);
    if (!mConnection.open(mFile, readAccessTo(mFile))) fail();
}

// A file whose making was cut short lacks tables, and so what they would hold.
bool StoreReader::hasTable(const std::string& name) {
    std::string literal = tavodb::sqlTableName(name);
    literal.front() = literal.back() = '\'';
    Statement search;
    if (!search.prepare(mConnection, "SELECT 1 FROM sqlite_master WHERE name = " + literal)) fail();
    bool isThere = false;
    if (!forEachRow(search, [&] { isThere = true; })) fail();
    return isThere;
}

// The three tables are read in one snapshot, or a package learned meanwhile
// would show with neither its launches nor its final endpoint.
std::vector<StoredPackage> StoreReader::packages() {
    std::map<std::string, StoredPackage> byName;
    if (!mConnection.execute("BEGIN")) fail();
    for (const TableReader& table : kTables) {
        if (!hasTable(table.name)) continue;
        Statement rows;
        if (!rows.prepare(mConnection, tavodb::selectAllSql(table.name))) fail();
        const bool complete = forEachRow(rows, [&] {
            const Bytes key = rows.column(0);
            const std::string name(static_cast<const char*>(key.data), key.size);
            table.take(byName[name], rows.column(1));
        });
        if (!complete) fail();
    }
    if (!mConnection.execute("COMMIT")) fail();

    std::vector<StoredPackage> result;
    for (auto& [name, package] : byName) {
        package.name = name;
        result.push_back(std::move(package));
    }
    return result;
}

StoredPackage StoreReader::package(const std::string& name) {
    StoredPackage result;
    result.name = name;
    if (!mConnection.execute("BEGIN")) fail();
    for (const TableReader& table : kTables) {
        if (!hasTable(table.name)) continue;
        Statement rows;
        if (!rows.prepare(mConnection, tavodb::selectSql(table.name))) fail();
        if (!rows.bind(1, name)) fail();
        if (!forEachRow(rows, [&] { table.take(result, rows.column(0)); })) fail();
    }
    if (!mConnection.execute("COMMIT")) fail();
    return result;
}

void StoreReader::fail() const {
    const std::string error =
        mConnection.handle() == nullptr ? "out of memory" : sqlite3_errmsg(mConnection.handle());
    throw HostError(
        kEnvironment,
        "the store " + mFile + " cannot be read: " +
            describeStoreFault(error, mFile, "repair or move it, or choose another with --state"));
}

}  // namespace host
