// The database file spoken to directly: what the store costs beside this is the
// library's and the framework's own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "store/orvo_dblayer.h"

/// One statement, bound and run by hand.
class RawStatement {
public:
    RawStatement(sqlite3* database, const std::string& sql);

    void bind(int index, const void* data, std::size_t size) {
        sqlite3_bind_blob64(mHandle.get(), index, data, size, SQLITE_STATIC);
    }
    void bind(int index, const std::string& bytes) { bind(index, bytes.data(), bytes.size()); }

    /// Copies the first column of the one row; false when it has another size.
    bool read(void* value, std::size_t size);
    bool write();

private:
    struct Finalize {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> mHandle;
};

/// One connection with the framework's pragmas and tables.
class RawStore {
public:
    explicit RawStore(const std::string& path);

    sqlite3* handle() const { return mHandle.get(); }
    void execute(const std::string& sql);

    /// Fills the status and final-endpoint tables, in one transaction.
    void addPackages(const std::vector<std::string>& names, const AppStatus& status);

private:
    struct Close {
        void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    };
    std::unique_ptr<sqlite3, Close> mHandle;
};

/// The final endpoint that addPackages gives the package at `index`.
std::int32_t endpointOf(std::size_t index);

std::vector<std::string> packageNames(std::size_t count);
