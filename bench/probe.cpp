// orvo-bench-probe: one short life of a process, with the library or without,
// that prints one figure. Links what a host has anyway: libstdc++ and SQLite.
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <sqlite3.h>
#include <string>
#include <unistd.h>

#include "feature/orvo.h"
#include "framework/tavodb/schema.h"
#include "store/tavo_db.h"

namespace {

// Mapped by every program of the machine, whoever uses how much of them.
bool isOfTheSystem(const std::string& mapping) {
    for (const char* name :
         {"/libc.so", "/libm.so", "/libstdc++.so", "/libgcc_s.so", "/ld-linux", "/libsqlite3.so"}) {
        if (mapping.find(name) != std::string::npos) return true;
    }
    return false;
}

// What the process has resident, without the system's libraries.
long residentKb() {
    std::ifstream maps("/proc/self/smaps");
    std::string line;
    long total = 0;
    bool counts = false;
    while (std::getline(maps, line)) {
        // A mapping's first line starts with its addresses, in small letters.
        if (!std::isupper(static_cast<unsigned char>(line[0]))) counts = !isOfTheSystem(line);
        long kb = 0;
        if (counts && std::sscanf(line.c_str(), "Rss: %ld", &kb) == 1) total += kb;
    }
    return total;
}

void initialiseLibrary(const char* path) {
    void* const library = dlopen(path, RTLD_NOW);
    if (!library) {
        std::fprintf(stderr, "%s\n", dlerror());
        _exit(1);
    }
    const auto set = reinterpret_cast<decltype(&setData)>(dlsym(library, "setData"));
    std::string none;
    if (!set || set(ORVO_SET_INIT, none, nullptr) != 0) _exit(1);
}

// Three connections as the store has them, and nothing else.
void openTablesRaw(const char* database) {
    for (const char* table : {"OrvoStatus", "OrvoLearning", "OrvoEP"}) {
        sqlite3* handle = nullptr;
        if (sqlite3_open(database, &handle) != SQLITE_OK) _exit(1);
        sqlite3_exec(handle, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL", nullptr,
                     nullptr, nullptr);
        sqlite3_exec(handle, tavodb::createSql(table).c_str(), nullptr, nullptr, nullptr);
        for (const std::string& sql :
             {tavodb::selectSql(table), tavodb::writeSql(table, DB_OP_INSERT),
              tavodb::writeSql(table, DB_OP_UPDATE), tavodb::writeSql(table, DB_OP_DELETE)}) {
            sqlite3_stmt* statement = nullptr;
            if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
                _exit(1);
        }
    }
}

double startUpMs(const char* path) {
    using Clock = std::chrono::steady_clock;
    // The refused tables are said so on stderr, which is slow and no news here.
    if (!std::freopen("/dev/null", "w", stderr)) _exit(1);
    const Clock::time_point start = Clock::now();
    initialiseLibrary(path);
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 3 ? argv[1] : "";
    if (mode == "startup") {
        std::printf("%f\n", startUpMs(argv[2]));
    } else if (mode == "memory-library") {
        initialiseLibrary(argv[2]);
        usleep(20'000);  // until the learning thread waits
        std::printf("%ld\n", residentKb());
    } else if (mode == "memory-sqlite") {
        openTablesRaw(argv[2]);
        std::printf("%ld\n", residentKb());
    } else {
        std::fprintf(stderr, "usage: %s startup|memory-library LIBRARY | memory-sqlite DATABASE\n",
                     argv[0]);
        return 2;
    }
    std::fflush(stdout);
    _exit(0);
}
