// TavoDB on SQLite: handles, and the boundary that no exception crosses.
#include "store/tavo_db.h"

#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <unordered_map>

#include "framework/tavodb/database_path.h"
#include "framework/tavodb/key_alias.h"
#include "framework/tavodb/log_tag.h"
#include "framework/tavodb/result_buffers.h"
#include "framework/tavodb/table.h"
#include "platform/log.h"
#include "platform/thread_annotations.h"

using tavodb::kFailure;
using tavodb::kLogTag;
using tavodb::ResultBuffers;
using tavodb::storedKeyOf;
using tavodb::Table;

// The object's open tables. Calls keep what they use alive by themselves, so a
// call still under way when its table is closed ends in peace.
struct TavoDB::Impl {
    std::mutex mutex;
    std::unordered_map<std::uint32_t, std::shared_ptr<Table>> tables ORVO_GUARDED_BY(mutex);
    const std::shared_ptr<ResultBuffers> buffers = std::make_shared<ResultBuffers>();

    std::shared_ptr<Table> find(std::uint32_t handle) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto entry = tables.find(handle);
        return entry == tables.end() ? nullptr : entry->second;
    }

    void add(std::uint32_t handle, std::shared_ptr<Table> table) {
        const std::lock_guard<std::mutex> lock(mutex);
        tables.emplace(handle, std::move(table));
    }

    std::shared_ptr<Table> remove(std::uint32_t handle) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto entry = tables.find(handle);
        if (entry == tables.end()) return nullptr;
        std::shared_ptr<Table> table = std::move(entry->second);
        tables.erase(entry);
        return table;
    }
};

namespace {

// Wider than a handle, so that running out is noticed instead of repeating one.
std::atomic<std::uint64_t> gLastHandle{0};

std::uint32_t newHandle() {
    const std::uint64_t handle = gLastHandle.fetch_add(1, std::memory_order_relaxed) + 1;
    if (handle > std::numeric_limits<std::uint32_t>::max()) return 0;
    return static_cast<std::uint32_t>(handle);
}

template <typename Operation>
std::int32_t guarded(const char* function, Operation operation) {
    try {
        return operation();
    } catch (const std::exception& e) {
        ORVO_LOGE(function, "exception %s", e.what());
    } catch (...) {
        ORVO_LOGE(function, "unknown exception");
    }
    return kFailure;
}

void appendRows(std::size_t rows, const std::string& key, std::uint64_t size,
                ResultBuffers::Buffer& buffer, std::vector<std::string>& keys,
                std::vector<void*>& values) {
    values.reserve(values.size() + rows);
    keys.insert(keys.end(), rows, key);
    for (std::size_t row = 0; row < rows; ++row)
        values.push_back(buffer.data() + row * size);
}

}  // namespace

TavoDB::TavoDB() : mImpl(std::make_unique<Impl>()) {}

TavoDB::~TavoDB() = default;

std::int32_t TavoDB::DBopen(const std::string& name, std::uint32_t& handle) {
    return guarded("DBopen", [&] {
        const std::string path = tavodb::databasePath();
        if (path.empty()) return kFailure;
        std::shared_ptr<Table> table = Table::open(path, name);
        const std::uint32_t unused = table ? newHandle() : 0;
        if (unused == 0) return kFailure;
        mImpl->add(unused, std::move(table));
        handle = unused;
        return std::int32_t{0};
    });
}

std::int32_t TavoDB::DBclose(std::uint32_t handle) {
    return guarded("DBclose", [&] { return mImpl->remove(handle) ? std::int32_t{0} : kFailure; });
}

std::int32_t TavoDB::DBQuery(std::uint32_t handle, const std::string& key, void* data,
                             std::uint64_t& size) {
    return guarded("DBQuery", [&] {
        const auto table = mImpl->find(handle);
        return table ? table->readFirst(storedKeyOf(key), data, size) : kFailure;
    });
}

std::int32_t TavoDB::DBupdate(std::uint32_t handle, const std::string& key, const void* data,
                              std::uint64_t size, std::uint32_t op) {
    return guarded("DBupdate", [&] {
        const auto table = mImpl->find(handle);
        return table ? table->write(storedKeyOf(key), data, size, op) : kFailure;
    });
}

std::int32_t TavoDB::DBQueryAll(std::uint32_t handle, const std::string& key,
                                std::vector<std::string>& keys, std::vector<void*>& values,
                                std::uint64_t size) {
    return guarded("DBQueryAll", [&] {
        const auto table = mImpl->find(handle);
        if (!table) return kFailure;
        ResultBuffers::Buffer& buffer = mImpl->buffers->ofThisThread();
        const std::int32_t rows = table->readAll(storedKeyOf(key), size, buffer);
        if (rows > 0) appendRows(static_cast<std::size_t>(rows), key, size, buffer, keys, values);
        return rows;
    });
}
