// Stand-ins for the framework's libraries, linked in their place: a database in
// memory that fails on command, a property, a log level and a float product.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the stand-ins do and saw. One per process; reset() between tests.
struct ScriptedFramework {
    /// Rows (key, value bytes) of each table, in insertion order.
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> tables;

    /// Called instead of the database, by verb and table ("insert OrvoStatus");
    /// its result is the call's result. It may throw.
    std::map<std::string, std::function<std::int32_t()>> faults;

    /// Every database call: verb, table ("?" without an open handle of that
    /// object) and, but for open and close, key, size and 32-bit words.
    std::vector<std::string> calls;

    std::optional<std::string> dumpProperty;  // absent without a value
    std::function<void()> onMultiply;         // called by each SecFloat::Multiply

    std::mutex mutex;  // of tables, faults and calls

    void reset();
    void addRow(const std::string& table, const std::string& key,
                const std::vector<std::int32_t>& words);
    /// The table's rows of `key`, each as its 32-bit words.
    std::vector<std::vector<std::int32_t>> rowsOf(const std::string& table, const std::string& key);
    /// The calls since the last one of takeCalls.
    std::vector<std::string> takeCalls();
};

ScriptedFramework& framework();
