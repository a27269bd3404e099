// Where the database file is.
#pragma once

#include <string>

namespace tavodb {

/// The database file's path, from the environment variable TAVO_DB_PATH, its
/// folder created when missing. Empty, and logged, when the variable is unset
/// or the folder cannot be created: no place is a safe guess.
std::string databasePath();

}  // namespace tavodb
