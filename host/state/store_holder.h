// Which process keeps the store locked.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace host {

/// A file as /proc/locks names it.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
};

/// The process other than `self` that keeps writers from a database, by the text
/// of /proc/locks: one that writes it, or has the log's writer's lock. Many
/// others have locks on both files, which are in nobody's way.
std::optional<pid_t> writerIn(std::string_view locks, const FileIdentity& database,
                              const FileIdentity& sharedMemory, pid_t self);

/// A database's error and what to do: `remedy`, unless the machine's limits are what
/// fails, or it is locked, which names the holder if that is known.
std::string describeStoreFault(const std::string& error, const std::string& databaseFile,
                               const std::string& remedy);

}  // namespace host
