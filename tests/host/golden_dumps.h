// Dumps recorded from launches of real programs, and dumps held whole.
#pragma once

#include <string>
#include <vector>

#include "host/dump/dump_file.h"
#include "host/dump/explanation_report.h"

struct Dump {
    host::DumpSource source;
    std::vector<host::DumpedLaunch> launches;
    host::DumpSummary summary;

    const host::DumpedLaunch& launch(int number) const {
        return launches.at(static_cast<std::size_t>(number) - 1);
    }
    host::ExplanationReport explained(int number,
                                      std::optional<std::int32_t> storedMeanMs = {}) const {
        return {source, summary, launch(number), storedMeanMs};
    }
};

inline Dump dumpIn(const host::DumpSource& source) {
    Dump dump{source, {}, {}};
    host::DumpFile file(source);
    while (std::optional<host::DumpedLaunch> launch = file.next()) {
        dump.summary.add(*launch);
        dump.launches.push_back(std::move(*launch));
    }
    return dump;
}

inline std::string goldenFile(const std::string& package) {
    return ORVO_TEST_DATA_DIR "/dumps/" + package + "_vmrss.csv";
}

inline Dump golden(const std::string& package) {
    Dump dump = dumpIn({goldenFile(package), package, false});
    dump.source.file = package + "_vmrss.csv";  // wherever the tests lie
    return dump;
}
