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

std::atomic<std::uint32_t> logLevel{0};
std::uint32_t lastHandle = 0;

std::vector<std::int32_t> wordsOf(const std::string& bytes) {
    std::vector<std::int32_t> words(bytes.size() / sizeof(std::int32_t));
    if (!words.empty()) std::memcpy(words.data(), bytes.data(), words.size() * sizeof(words[0]));
    return words;
}

std::string bytesOf(const void* data, std::size_t size) {
    return data == nullptr ? std::string() : std::string(static_cast<const char*>(data), size);
}

}  // namespace

ScriptedFramework& framework() {
    static ScriptedFramework instance;
    return instance;
}

void ScriptedFramework::reset() {
    const std::lock_guard<std::mutex> lock(mutex);
    tables.clear();
    faults.clear();
    calls.clear();
    dumpProperty.reset();
    onMultiply = nullptr;
}

void ScriptedFramework::addRow(const std::string& table, const std::string& key,
                               const std::vector<std::int32_t>& words) {
    tables[table].emplace_back(key, bytesOf(words.data(), words.size() * sizeof(words[0])));
}

std::vector<std::vector<std::int32_t>> ScriptedFramework::rowsOf(const std::string& table,
                                                                 const std::string& key) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::vector<std::int32_t>> rows;
    for (const auto& [rowKey, value] : tables[table])
        if (rowKey == key) rows.push_back(wordsOf(value));
    return rows;
}

std::vector<std::string> ScriptedFramework::takeCalls() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(calls, {});
}

// The table that the object has open, and its handle.
struct TavoDB::Impl {
    std::string table;
    std::uint32_t handle = 0;
    std::vector<std::string> returned;  // the buffers of DBQueryAll

    std::string tableOf(std::uint32_t of) const { return of != 0 && of == handle ? table : "?"; }

    /// Records the call; a result when it does not go on to the table.
    static std::optional<std::int32_t> begin(const std::string& what, const std::string& details) {
        framework().calls.push_back(what + details);
        const auto fault = framework().faults.find(what);
        if (fault != framework().faults.end()) return fault->second();
        if (what.back() == '?') return -1;
        return std::nullopt;
    }
};

TavoDB::TavoDB() : mImpl(std::make_unique<Impl>()) {}
TavoDB::~TavoDB() = default;

std::int32_t TavoDB::DBopen(const std::string& name, std::uint32_t& handle) {
    const std::lock_guard<std::mutex> lock(framework().mutex);
    if (const auto fault = Impl::begin("open " + name, "")) return *fault;
    mImpl->table = name;
    handle = mImpl->handle = ++lastHandle;
    return 0;
}

std::int32_t TavoDB::DBclose(std::uint32_t handle) {
    const std::lock_guard<std::mutex> lock(framework().mutex);
    if (const auto fault = Impl::begin("close " + mImpl->tableOf(handle), "")) return *fault;
    mImpl->handle = 0;
    return 0;
}

std::int32_t TavoDB::DBQuery(std::uint32_t handle, const std::string& key, void* data,
                             std::uint64_t& size) {
    const std::lock_guard<std::mutex> lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    const std::string details = " " + key + " " + std::to_string(size);
    if (const auto fault = Impl::begin("query " + table, details)) return *fault;
    for (const auto& [rowKey, value] : framework().tables[table]) {
        if (rowKey != key) continue;
        size = std::min<std::uint64_t>(size, value.size());
        std::memcpy(data, value.data(), size);
        return 0;
    }
    return 1;
}

std::int32_t TavoDB::DBupdate(std::uint32_t handle, const std::string& key, const void* data,
                              std::uint64_t size, std::uint32_t op) {
    static const char* const kVerbs[] = {"op0 ", "insert ", "update ", "delete "};
    const std::lock_guard<std::mutex> lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    const std::string value = bytesOf(data, size);
    std::string details = " " + key + " " + std::to_string(size);
    for (const std::int32_t word : wordsOf(value))
        details += " " + std::to_string(word);
    if (const auto fault = Impl::begin(kVerbs[op & 3] + table, details)) return *fault;
    auto& rows = framework().tables[table];
    const auto isKeys = [&](const auto& row) { return row.first == key; };
    if (op == DB_OP_INSERT) rows.emplace_back(key, value);
    if (op == DB_OP_DELETE)
        rows.erase(std::remove_if(rows.begin(), rows.end(), isKeys), rows.end());
    const auto row = std::find_if(rows.begin(), rows.end(), isKeys);
    if (op == DB_OP_UPDATE && row != rows.end()) row->second = value;
    return 1;
}

std::int32_t TavoDB::DBQueryAll(std::uint32_t handle, const std::string& key,
                                std::vector<std::string>& keys, std::vector<void*>& values,
                                std::uint64_t size) {
    const std::lock_guard<std::mutex> lock(framework().mutex);
    const std::string table = mImpl->tableOf(handle);
    const std::string details = " " + key + " " + std::to_string(size);
    if (const auto fault = Impl::begin("queryAll " + table, details)) return *fault;
    mImpl->returned.clear();
    for (const auto& [rowKey, value] : framework().tables[table])
        if (rowKey == key) mImpl->returned.push_back(value);
    for (std::string& value : mImpl->returned) {
        keys.push_back(key);
        values.push_back(value.data());
    }
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
