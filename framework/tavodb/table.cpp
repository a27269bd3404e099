// The operations on one table.
#include "framework/tavodb/table.h"

#include <cinttypes>
#include <cstring>

#include "framework/tavodb/log_tag.h"
#include "framework/tavodb/schema.h"
#include "platform/log.h"
#include "store/tavo_db.h"

namespace tavodb {
namespace {

// Between connections SQLite makes a writer sleep and retry, in no order. The
// writers of one process queue here instead, whatever table they write.
std::mutex gWritersTurn;

// A write that has returned must survive a killed process and a power cut:
// the write-ahead log, flushed at each commit.
bool setDurable(Connection& connection) {
    if (!connection.execute("PRAGMA journal_mode = WAL")) return false;
    Statement journal;
    if (!journal.prepare(connection, "PRAGMA journal_mode")) return false;
    if (journal.step() != Outcome::kRow) return false;
    const Bytes mode = journal.column(0);
    if (std::string(static_cast<const char*>(mode.data), mode.size) != "wal") {
        ORVO_LOGE("setDurable", "this file system cannot keep a write-ahead log");
        return false;
    }
    return connection.execute("PRAGMA synchronous = FULL");
}

std::int32_t copyOut(Bytes value, void* data, std::uint64_t& size) {
    if (value.size > size) {
        ORVO_LOGE("copyOut", "a value of %zu bytes does not fit a buffer of %" PRIu64, value.size,
                  size);
        return kFailure;
    }
    if (value.size != 0) std::memcpy(data, value.data, value.size);
    size = value.size;
    return 0;
}

}  // namespace

std::shared_ptr<Table> Table::open(const std::string& path, const std::string& name) {
    auto table = std::make_shared<Table>();
    return table->prepare(path, name) ? table : nullptr;
}

bool Table::prepare(const std::string& path, const std::string& name) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!mConnection.open(path, Connection::Access::kReadWriteCreate)) return false;
    if (!setDurable(mConnection) || !mConnection.execute(createSql(name))) return false;
    if (!mSelect.prepare(mConnection, selectSql(name))) return false;
    for (std::uint32_t i = 0; i < mWrites.size(); ++i) {
        if (!mWrites[i].prepare(mConnection, writeSql(name, DB_OP_INSERT + i))) return false;
    }
    return true;
}

std::int32_t Table::readFirst(const std::string& key, void* data, std::uint64_t& size) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const StatementRun run(mSelect);
    if (!mSelect.bind(1, key)) return kFailure;
    switch (mSelect.step()) {
        case Outcome::kRow:
            return copyOut(mSelect.column(0), data, size);
        case Outcome::kDone:
            return kNoSuchKey;
        default:
            return kFailure;
    }
}

std::int32_t Table::readAll(const std::string& key, std::uint64_t size,
                            std::vector<unsigned char>& buffer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const StatementRun run(mSelect);
    if (!mSelect.bind(1, key)) return kFailure;
    buffer.clear();
    std::int32_t rows = 0;
    Outcome outcome = mSelect.step();
    for (; outcome == Outcome::kRow; outcome = mSelect.step()) {
        const Bytes value = mSelect.column(0);
        if (value.size != size) {
            ORVO_LOGE("readAll", "a value of %zu bytes where %" PRIu64 " are asked for", value.size,
                      size);
            return kFailure;
        }
        const auto* bytes = static_cast<const unsigned char*>(value.data);
        buffer.insert(buffer.end(), bytes, bytes + value.size);
        ++rows;
    }
    return outcome == Outcome::kDone ? rows : kFailure;
}

std::int32_t Table::write(const std::string& key, const void* data, std::uint64_t size,
                          std::uint32_t operation) {
    if (operation < DB_OP_INSERT || operation > DB_OP_DELETE || (!data && size != 0)) {
        ORVO_LOGE("write", "no such operation %" PRIu32 " with %" PRIu64 " bytes at %p", operation,
                  size, data);
        return kFailure;
    }
    const std::lock_guard<std::mutex> turn(gWritersTurn);
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mConnection.fileIsGone()) {
        ORVO_LOGE("write", "the database file was removed or replaced while open");
        return kFailure;
    }
    Statement& statement = mWrites[operation - DB_OP_INSERT];
    const StatementRun run(statement);
    if (!statement.bind(1, key)) return kFailure;
    if (operation != DB_OP_DELETE && !statement.bind(2, data, size)) return kFailure;
    return statement.step() == Outcome::kDone ? mConnection.changedRows() : kFailure;
}

}  // namespace tavodb
