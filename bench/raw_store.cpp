// SQLite by its C interface, without a layer in between.
#include "bench/raw_store.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "framework/tavodb/schema.h"

namespace {

constexpr char kStatusTable[] = "OrvoStatus";
constexpr char kLearningTable[] = "OrvoLearning";
constexpr char kEpTable[] = "OrvoEP";

}  // namespace

RawStatement::RawStatement(sqlite3* database, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    mHandle.reset(statement);
    if (!statement) throw std::runtime_error(sqlite3_errmsg(database) + (" at: " + sql));
}

bool RawStatement::read(void* value, std::size_t size) {
    const bool isThere = sqlite3_step(mHandle.get()) == SQLITE_ROW &&
                         sqlite3_column_bytes(mHandle.get(), 0) == static_cast<int>(size);
    if (isThere) std::memcpy(value, sqlite3_column_blob(mHandle.get(), 0), size);
    sqlite3_reset(mHandle.get());
    return isThere;
}

bool RawStatement::write() {
    const bool isDone = sqlite3_step(mHandle.get()) == SQLITE_DONE;
    sqlite3_reset(mHandle.get());
    return isDone;
}

RawStore::RawStore(const std::string& path) {
    sqlite3* handle = nullptr;
    const int code =
        sqlite3_open_v2(path.c_str(), &handle,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    mHandle.reset(handle);
    if (code != SQLITE_OK) throw std::runtime_error("cannot open " + path);
    execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
    for (const char* table : {kStatusTable, kLearningTable, kEpTable})
        execute(tavodb::createSql(table));
}

void RawStore::execute(const std::string& sql) {
    if (sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(handle()) + (" at: " + sql));
}

void RawStore::addPackages(const std::vector<std::string>& names, const AppStatus& status) {
    execute("BEGIN");
    RawStatement addStatus(handle(), tavodb::writeSql(kStatusTable, DB_OP_INSERT));
    RawStatement addEndpoint(handle(), tavodb::writeSql(kEpTable, DB_OP_INSERT));
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::int32_t endpointMs = endpointOf(i);
        addStatus.bind(1, names[i]);
        addStatus.bind(2, &status, sizeof(status));
        addEndpoint.bind(1, names[i]);
        addEndpoint.bind(2, &endpointMs, sizeof(endpointMs));
        if (!addStatus.write() || !addEndpoint.write())
            throw std::runtime_error("cannot add packages");
    }
    execute("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)");
}

std::int32_t endpointOf(std::size_t index) {
    return 300 + static_cast<std::int32_t>(index % 5000);
}

std::vector<std::string> packageNames(std::size_t count) {
    std::vector<std::string> names;
    names.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        // Most significant digit last, so that keys are not added in their order.
        std::string digits = std::to_string(i);
        names.push_back("com.example." + std::string(digits.rbegin(), digits.rend()) + ".app");
    }
    return names;
}
