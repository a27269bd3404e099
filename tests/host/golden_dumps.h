// Dumps recorded from launches of real programs.
#pragma once

#include <string>

#include "host/dump/dump_file.h"

inline std::string goldenFile(const std::string& package) {
    return ORVO_TEST_DATA_DIR "/dumps/" + package + "_vmrss.csv";
}

inline host::Dump golden(const std::string& package) {
    return host::readDump({goldenFile(package), package, false});
}
