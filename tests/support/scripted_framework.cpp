// The stand-ins' members, defined in place of the framework's libraries.
#include "tests/support/scripted_framework.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/sec_float.h"
#include "platform/tavo_config.h"
#include "platform/tavo_log.h"
#include "store/tavo_db.h"

namespace {

using Words = ScriptedFramework::Words;
using Lock = std::lock_guard<std::mutex>;

std::atomic<std::uint32_t> logLevel{0};
std::uint32_t lastHandle = 0;

/// Records the call; a result when it does not go on to the table.
std::optional<std::int32_t> fault(const std::string& call, const std::string& details = "") {
    framework().calls.push_back(call + details);
    const auto scripted = framework().faults.find(call);
    if (scripted != framework().faults.end()) return scripted->second();
    if (call.back() == '?') return -1;
    return std::nullopt;
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
    std::vector<Words> returned;  // the buffers of DBQueryAll

    std::string tableOf(std::uint32_t of) const { return of != 0 && of == handle ? table : "?"; }
};

TavoDB::TavoDB() : mImpl(std::make_unique<Impl>()) {}
TavoDB::~TavoDB() = default;

std::int32_t TavoDB::DBopen(const std::string& name, std::uint32_t& handle) {
    const Lock lock(framework().mutex);
    handle = 99;  // what a failed open leaves behind is no handle
    if (const auto result = fault("open " + name)) return *result;
    mImpl->table = name;
    handle = mImpl->handle = ++lastHandle;
    return 0;
}

std::int32_t TavoDB::DBclose(std::uint32_t handle) {
    const Lock lock(framework().mutex);
    if (const auto result = fault("close " + mImpl->tableOf(handle))) return *result;
    mImpl->handle = 0;
    return 0;
}

std::int32_t TavoDB::DBQuery(std::uint32_t handle, const std::string& key, void* data,
                             std::uint64_t& size) {
    const Lock lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    if (const auto result = fault("query " + table, keyAndSize(key, size))) return *result;
    for (const auto& [rowKey, words] : framework().tables[table]) {
        if (rowKey != key) continue;
        size = std::min<std::uint64_t>(size, words.size() * sizeof(words[0]));
        std::memcpy(data, words.data(), size);
        return 0;
    }
    return 1;
}

std::int32_t TavoDB::DBupdate(std::uint32_t handle, const std::string& key, const void* data,
                              std::uint64_t size, std::uint32_t op) {
    static const char* const kVerbs[] = {"op0 ", "insert ", "update ", "delete "};
    const Lock lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    Words value(size / sizeof(Words::value_type));
    if (size > 0) std::memcpy(value.data(), data, size);
    std::string details = keyAndSize(key, size);
    for (const std::int32_t word : value)
        details += " " + std::to_string(word);
    if (const auto result = fault(kVerbs[op & 3U] + table, details)) return *result;
    auto& rows = framework().tables[table];
    const auto isKeys = [&](const auto& row) { return row.first == key; };
    const auto row = std::find_if(rows.begin(), rows.end(), isKeys);
    if (op == DB_OP_UPDATE && row != rows.end()) row->second = value;
    if (op == DB_OP_DELETE) rows.erase(std::remove_if(row, rows.end(), isKeys), rows.end());
    if (op == DB_OP_INSERT) rows.emplace_back(key, value);
    return 1;
}

std::int32_t TavoDB::DBQueryAll(std::uint32_t handle, const std::string& key,
                                std::vector<std::string>& keys, std::vector<void*>& values,
                                std::uint64_t size) {
    const Lock lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    if (const auto result = fault("queryAll " + table, keyAndSize(key, size))) return *result;
    mImpl->returned.clear();
    for (const auto& [rowKey, words] : framework().tables[table])
        if (rowKey == key) mImpl->returned.push_back(words);
    for (Words& words : mImpl->returned)
        values.push_back(words.data());
    keys.resize(values.size(), key);
    return static_cast<std::int32_t>(values.size());
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
