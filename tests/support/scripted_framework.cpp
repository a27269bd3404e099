// The stand-ins' members, defined in place of the framework's libraries.
#include "tests/support/scripted_framework.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "platform/sec_float.h"
#include "platform/tavo_config.h"
#include "platform/tavo_log.h"
#include "store/tavo_db.h"

namespace {

using Table = ScriptedFramework::Table;
using Words = ScriptedFramework::Words;
using Lock = std::lock_guard<std::mutex>;

std::atomic<std::uint32_t> logLevel{0};
std::uint32_t lastHandle = 0;

// Records the call and makes it, unless it has no table or is scripted otherwise.
template <typename Operation>
std::int32_t call(const std::string& verb, const std::string& table, const std::string& details,
                  Operation operation) {
    const Lock lock(framework().mutex);
    framework().calls.push_back(verb + " " + table + details);
    const auto scripted = framework().faults.find(verb + " " + table);
    if (scripted != framework().faults.end()) return scripted->second();
    return table.back() == '?' ? -1 : operation(framework().tables[table]);
}

std::string keyAndSize(const std::string& key, std::uint64_t size) {
    return " " + key + " " + std::to_string(size);
}

}  // namespace

ScriptedFramework& framework() {
    static ScriptedFramework instance;
    return instance;
}

void ScriptedFramework::reset() {
    const Lock lock(mutex);
    tables.clear();
    faults.clear();
    calls.clear();
    dumpProperty.reset();
    onMultiply = nullptr;
}

std::string ScriptedFramework::takeCalls() {
    const Lock lock(mutex);
    return joined(std::exchange(calls, {}));
}

struct TavoDB::Impl {
    std::string table;  // the one that the object has open
    std::uint32_t handle = 0;

    std::string tableOf(std::uint32_t of) const {
        if (of == 0) return "?";
        return of == handle ? table : "stale?";
    }
};

TavoDB::TavoDB() : mImpl(std::make_unique<Impl>()) {}
TavoDB::~TavoDB() = default;

std::int32_t TavoDB::DBopen(const std::string& name, std::uint32_t& handle) {
    handle = 99;  // what a failed open leaves behind is no handle
    return call("open", name, "", [&](const Table&) {
        mImpl->table = name;
        handle = mImpl->handle = ++lastHandle;
        return 0;
    });
}

std::int32_t TavoDB::DBclose(std::uint32_t handle) {
    return call("close", mImpl->tableOf(handle), "", [&](const Table&) {
        mImpl->handle = 0;
        return 0;
    });
}

std::int32_t TavoDB::DBQuery(std::uint32_t handle, const std::string& key, void* data,
                             std::uint64_t& size) {
    return call("query", mImpl->tableOf(handle), keyAndSize(key, size), [&](const Table& rows) {
        const auto row = rows.find(key);
        if (row == rows.end()) return 1;
        size = std::min<std::uint64_t>(size, row->second.size() * sizeof(row->second[0]));
        std::memcpy(data, row->second.data(), size);
        return 0;
    });
}

std::int32_t TavoDB::DBupdate(std::uint32_t handle, const std::string& key, const void* data,
                              std::uint64_t size, std::uint32_t op) {
    static const char* const kVerbs[] = {"op0", "insert", "update", "delete"};
    Words value(size / sizeof(Words::value_type));
    if (size > 0) std::memcpy(value.data(), data, size);
    std::string details = keyAndSize(key, size);
    for (const std::int32_t word : value)
        details += " " + std::to_string(word);
    return call(kVerbs[op & 3U], mImpl->tableOf(handle), details, [&](Table& rows) {
        const auto row = rows.find(key);
        if (op == DB_OP_UPDATE && row != rows.end()) row->second = value;
        if (op == DB_OP_DELETE) rows.erase(key);
        if (op == DB_OP_INSERT) rows.emplace(key, value);
        return 1;
    });
}

std::int32_t TavoDB::DBQueryAll(std::uint32_t handle, const std::string& key,
                                std::vector<std::string>& keys, std::vector<void*>& values,
                                std::uint64_t size) {
    return call("queryAll", mImpl->tableOf(handle), keyAndSize(key, size), [&](Table& rows) {
        const auto [first, last] = rows.equal_range(key);
        for (auto row = first; row != last; ++row)
            values.push_back(row->second.data());
        keys.resize(values.size(), key);
        return static_cast<std::int32_t>(values.size());
    });
}

TavoConfigDataStore TavoConfigDataStore::mTavoStorage;

std::int32_t TavoConfigDataStore::GetProperty(const char* name, char* value, std::size_t size) {
    const auto& property = framework().dumpProperty;
    const bool isAsked = std::strcmp(name, "debug.vendor.zorv.enable.lm_csv_dump") == 0;
    if (!property || !isAsked || size != 92) return 0;
    std::memcpy(value, property->c_str(), property->size() + 1);
    return 1;
}

float SecFloat::Multiply(float a, float b) {
    if (framework().onMultiply) framework().onMultiply();
    return a * b;
}

std::uint32_t getTavoLogLevel() {
    return logLevel;
}

void setTavoLogLevel(std::uint32_t level) {
    logLevel = level;
}
