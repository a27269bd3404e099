// Asks the environment for the database file and makes room for it.
#include "framework/tavodb/database_path.h"

#include <cstdlib>
#include <filesystem>

#include "framework/tavodb/log_tag.h"
#include "platform/log.h"

namespace tavodb {

std::string databasePath() {
    const char* path = secure_getenv("TAVO_DB_PATH");
    if (!path || !*path) {
        ORVO_LOGE("databasePath",
                  "TAVO_DB_PATH is not set, or is ignored in a privileged process; it names the "
                  "database file");
        return {};
    }
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    std::error_code error;
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error) {
        ORVO_LOGE("databasePath", "cannot create the folder of TAVO_DB_PATH=%s: %s", path,
                  error.message().c_str());
        return {};
    }
    return path;
}

}  // namespace tavodb
