// Prints what a process takes from its environment: log level, the property
// "a.b" and the database's path.
#include <array>
#include <cstdio>

#include "framework/tavodb/database_path.h"
#include "platform/tavo_config.h"
#include "platform/tavo_log.h"

int main() {
    std::array<char, 16> value{};
    TavoConfigDataStore::mTavoStorage.GetProperty("a.b", value.data(), value.size());
    return std::printf("%u,%s,%s", getTavoLogLevel(), value.data(),
                       tavodb::databasePath().c_str()) < 0;
}
