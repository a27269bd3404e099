// Parsing what the kernel shows of tasks: the cpuset's list, a status line.
#pragma once

#include <cstdint>
#include <istream>
#include <sstream>
#include <string>
#include <vector>

/// The task ids of the stream, in its order, up to the first thing that is not a number.
inline std::vector<std::int32_t> readTaskIds(std::istream& tasks) {
    std::vector<std::int32_t> ids;
    std::int32_t id = 0;
    while (tasks >> id)
        ids.push_back(id);
    return ids;
}

/// Reads the number after the colon of a "Tgid" line; false, with `tgid` as it
/// was, for any other line.
inline bool readTgid(const std::string& line, std::int32_t& tgid) {
    if (line.find("Tgid") == std::string::npos) return false;
    std::istringstream(line.substr(line.find(':') + 1)) >> tgid;
    return true;
}
