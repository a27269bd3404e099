// The calls into SQLite, and the one place that judges their result codes.
#include "framework/tavodb/sqlite.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include "framework/tavodb/log_tag.h"
#include "platform/log.h"

namespace tavodb {
namespace {

// Longer than any writer's single transaction, also on slow flash.
constexpr int kBusyTimeoutMs = 5000;
constexpr int kRetryMs = 5;

Outcome judge(sqlite3* database, int code, const char* doing) {
    const int primaryCode = code & 0xff;
    if (primaryCode == SQLITE_ROW) return Outcome::kRow;
    if (primaryCode == SQLITE_OK || primaryCode == SQLITE_DONE) return Outcome::kDone;
    const char* path = database ? sqlite3_db_filename(database, "main") : nullptr;
    ORVO_LOGE("judge", "%s: %s (code %d) at: %s", path ? path : "-", sqlite3_errmsg(database), code,
              doing);
    return Outcome::kFailed;
}

// The store has neither views nor triggers. Those of a file that somebody else made
// would run here, and a view may never end.
void disableViewsAndTriggers(sqlite3* database) {
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

// The form in which SQLite can be told that a file does not change.
std::string unchangingUri(const std::string& file) {
    constexpr char kHexDigits[] = "0123456789abcdef";
    std::string uri = "file:";
    for (const char c : file) {
        const auto byte = static_cast<unsigned char>(c);
        uri += '%';
        uri += kHexDigits[byte >> 4];
        uri += kHexDigits[byte & 0xf];
    }
    return uri + "?immutable=1";
}

}  // namespace

bool Connection::open(const std::string& path, Access access) {
    // Absolute, for ":memory:", "" and "file:..." mean something else to SQLite.
    std::error_code error;
    const std::string file = std::filesystem::absolute(path, error).string();
    if (error || file.find('\0') != std::string::npos) {
        ORVO_LOGE("open", "not a usable path: %s", path.c_str());
        return false;
    }
    // SQLite takes a file of one byte for an empty one and would overwrite it.
    if (std::filesystem::file_size(file, error) == 1) {
        ORVO_LOGE("open", "%s: file is not a database", file.c_str());
        return false;
    }
    const bool isUnchanging = access == Access::kReadOnlyUnchanging;
    const std::string name = isUnchanging ? unchangingUri(file) : file;
    const int flags =
        SQLITE_OPEN_NOMUTEX | (isUnchanging ? SQLITE_OPEN_URI : 0) |
        (access == Access::kReadWriteCreate ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                                            : SQLITE_OPEN_READONLY);
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &handle, flags, nullptr);
    mHandle.reset(handle);
    if (judge(handle, code, ("open " + file).c_str()) == Outcome::kFailed) return false;
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    disableViewsAndTriggers(handle);
    return true;
}

bool Connection::execute(const std::string& sql) {
    // SQLite does not wait for every lock by itself: of two processes that turn
    // the same file to write-ahead logging, one is sent away at once.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
    const auto attempt = [&] {
        return sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, nullptr);
    };
    int code = attempt();
    while ((code & 0xff) == SQLITE_BUSY && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs));
        code = attempt();
    }
    return judge(handle(), code, sql.c_str()) != Outcome::kFailed;
}

bool Connection::fileIsGone() const {
    int moved = 0;
    const int code = sqlite3_file_control(handle(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return code == SQLITE_OK && moved != 0;
}

bool Statement::prepare(const Connection& connection, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v3(connection.handle(), sql.c_str(), -1,
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    mHandle.reset(statement);
    return judge(connection.handle(), code, sql.c_str()) != Outcome::kFailed;
}

bool Statement::bind(int index, const void* data, std::uint64_t size) {
    // A null pointer would bind SQL's NULL, which is not a value of length 0.
    const void* bytes = data ? data : "";
    const int code = sqlite3_bind_blob64(mHandle.get(), index, bytes, size, SQLITE_STATIC);
    return judge(sqlite3_db_handle(mHandle.get()), code, sqlite3_sql(mHandle.get())) !=
           Outcome::kFailed;
}

Outcome Statement::step() {
    const int code = sqlite3_step(mHandle.get());
    return judge(sqlite3_db_handle(mHandle.get()), code, sqlite3_sql(mHandle.get()));
}

Bytes Statement::column(int index) {
    const void* data = sqlite3_column_blob(mHandle.get(), index);
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(mHandle.get(), index))};
}

}  // namespace tavodb
