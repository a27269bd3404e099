// A small ownership layer over SQLite's C interface: connection and statement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>

namespace tavodb {

/// What an SQLite call came to. A failure has already been logged, with
/// SQLite's own message.
enum class Outcome { kRow, kDone, kFailed };

/// Bytes that someone else owns.
struct Bytes {
    const void* data;
    std::size_t size;
};

/// One connection to one database file.
///
/// Threads: a connection and its statements serve one thread at a time, under
/// the caller's lock. SQLite's own locks are off, for they would guard single
/// calls, and bind, step and reading a column belong together.
/// Processes: do not use a connection on the other side of a fork.
class Connection {
public:
    /// kReadOnlyUnchanging takes no locks and makes no files beside the database:
    /// for one that nobody can write, as on a read-only mount.
    enum class Access { kReadOnly, kReadOnlyUnchanging, kReadWriteCreate };

    /// Opens `path`, always a file name (a relative one is taken from the
    /// working directory). False on failure; most faults of the file itself
    /// show only when the first statement is prepared. A lock that another
    /// process holds is waited for for up to five seconds, here and later.
    bool open(const std::string& path, Access access);

    /// Runs statements that return no rows of interest.
    bool execute(const std::string& sql);

    /// True when the path no longer leads to the open file: nobody will ever read
    /// what is written now. False also where that cannot be found out.
    bool fileIsGone() const;

    /// Rows changed by the last insert, update or delete.
    int changedRows() const { return sqlite3_changes(mHandle.get()); }

    sqlite3* handle() const { return mHandle.get(); }

private:
    struct Close {
        void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    };
    std::unique_ptr<sqlite3, Close> mHandle;
};

/// A prepared statement, to be held and run many times.
class Statement {
public:
    bool prepare(const Connection& connection, const std::string& sql);

    /// Binds a blob, of zero length too; it must outlive the run.
    bool bind(int index, const void* data, std::uint64_t size);
    bool bind(int index, const std::string& bytes) {
        return bind(index, bytes.data(), bytes.size());
    }

    Outcome step();

    /// A column of the current row, counted from 0; valid until the next step
    /// or the end of the run.
    Bytes column(int index);

    void reset() { sqlite3_reset(mHandle.get()); }

private:
    struct Finalize {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> mHandle;
};

/// Ends a statement's run with the scope: one left in the middle of its rows
/// would hold its snapshot of the file and keep the log from being emptied.
class StatementRun {
public:
    explicit StatementRun(Statement& statement) : mStatement(statement) {}
    ~StatementRun() { mStatement.reset(); }
    StatementRun(const StatementRun&) = delete;
    StatementRun& operator=(const StatementRun&) = delete;

private:
    Statement& mStatement;
};

}  // namespace tavodb
