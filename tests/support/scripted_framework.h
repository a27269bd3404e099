// Stand-ins for the framework's libraries, linked in their place: a database in
// memory that fails on command, a property, a log level and a float product.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/joined.h"

/// What the stand-ins do and saw. One per process; reset() between tests.
struct ScriptedFramework {
    using Words = std::vector<std::int32_t>;  ///< a row's value

    using Table = std::multimap<std::string, Words>;  ///< a key's rows in insertion order

    std::map<std::string, Table> tables;

    /// Called instead of the database, by verb and table ("insert OrvoStatus");
    /// its result is the call's result. It may throw.
    std::map<std::string, std::function<std::int32_t()>> faults;

    std::optional<std::string> dumpProperty;  ///< absent without a value
    std::function<void()> onMultiply;         ///< called by each SecFloat::Multiply

    void reset();

    /// The database calls since the last time, joined by "; ": verb, table ("?"
    /// for no handle, "stale?" for none that the object has open) and, but for open and close, key,
    /// size and the words written.
    std::string takeCalls();

    std::vector<std::string> calls;
    std::mutex mutex;  ///< of tables, faults and calls
};

ScriptedFramework& framework();
