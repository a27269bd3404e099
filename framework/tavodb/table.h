// One open table of the database: its connection and the statements it holds.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/tavodb/sqlite.h"
#include "platform/thread_annotations.h"

namespace tavodb {

/// Results beside counts of rows.
constexpr std::int32_t kFailure = -1;
constexpr std::int32_t kNoSuchKey = 1;

/// Each table has a connection of its own, so that a read of one does not wait
/// until a write to another has reached the disk. Any thread may call.
class Table {
public:
    /// Opens the table `name` in the database at `path`, creating what is
    /// missing; null on failure, which has been logged.
    static std::shared_ptr<Table> open(const std::string& path, const std::string& name);

    /// TavoDB::DBQuery. `size` changes only when a value was copied. Of several
    /// rows the oldest counts.
    std::int32_t readFirst(const std::string& key, void* data, std::uint64_t& size);

    /// TavoDB::DBQueryAll: puts the values, `size` bytes each, into `buffer`.
    std::int32_t readAll(const std::string& key, std::uint64_t size,
                         std::vector<unsigned char>& buffer);

    /// TavoDB::DBupdate. An update sets the value of every row of the key: the
    /// row that readFirst returns is always among them.
    std::int32_t write(const std::string& key, const void* data, std::uint64_t size,
                       std::uint32_t operation);

private:
    bool prepare(const std::string& path, const std::string& name);

    std::mutex mMutex;
    Connection mConnection ORVO_GUARDED_BY(mMutex);
    Statement mSelect ORVO_GUARDED_BY(mMutex);
    std::array<Statement, 3> mWrites ORVO_GUARDED_BY(mMutex);  // insert, update, delete
};

}  // namespace tavodb
