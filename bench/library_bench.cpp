// What the built library weighs: its file, its memory, its start-up time.
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/raw_store.h"
#include "bench/topics.h"
#include "host/root/scratch_folder.h"
#include "host/statistics/median.h"

namespace {

// Paths that the build knows.
constexpr char kProbe[] = ORVO_BENCH_PROBE;
constexpr char kLibrary[] = ORVO_BENCH_LIBRARY;
constexpr char kStrippedLibrary[] = ORVO_BENCH_STRIPPED_LIBRARY;

double probe(const char* mode, const std::string& argument) {
    const std::string output = outputOf({kProbe, mode, argument});
    char* end = nullptr;
    const double figure = std::strtod(output.c_str(), &end);
    if (end == output.c_str()) throw std::runtime_error(std::string("no figure from ") + mode);
    return figure;
}

// The median of what the library's process has resident beyond one that only
// opens the same tables with SQLite. The framework's libraries and Android's
// log count, the pages of libc, libstdc++ and SQLite do not.
double residentKbBeyondSqlite(int rounds) {
    const host::ScratchFolder folder;
    const std::string database = folder.path() + "/tavo.db";
    setenv("TAVO_DB_PATH", database.c_str(), 1);
    probe("memory-library", kLibrary);  // makes the file
    std::vector<double> differences;
    for (int i = 0; i < rounds; ++i)
        differences.push_back(probe("memory-library", kLibrary) - probe("memory-sqlite", database));
    unsetenv("TAVO_DB_PATH");
    return host::medianOf(differences);
}

// Without TAVO_DB_PATH the tables are refused at once: what is left is loading
// and starting.
double startUpMs(int rounds) {
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i)
        times.push_back(probe("startup", kLibrary));
    return host::medianOf(times);
}

}  // namespace

void benchLibrary(const Effort& effort, Table& table) {
    const double fileKib = static_cast<double>(std::filesystem::file_size(kStrippedLibrary)) / 1024;
    table.atMost("library: file, stripped", "", fileKib, 150, "KiB");
    table.atMost("library: resident memory after initialising",
                 "a process with the tables open in SQLite", residentKbBeyondSqlite(effort.rounds),
                 300, "KiB");
    table.atMost("library: loading and initialising, without the store", "",
                 startUpMs(effort.rounds), 1, "ms");
}
