// One writer per package at a time.
#include "host/state/package_lock.h"

#include <cstdint>

#include "host/base/record_lock.h"
#include "host/base/regular_file.h"

namespace host {
namespace {

// FNV-1a, which stays the same from one build to the next: builds share the file.
ByteRange rangeOf(const std::string& package) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : package) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3U;
    }
    return {static_cast<off_t>(hash >> 1U), 1};  // an offset is never negative
}

}  // namespace

PackageLocks::PackageLocks(const std::string& path)
    : mPath(path), mFile(openKeptFile(path, O_RDWR | O_CREAT)) {}

bool PackageLocks::take(const std::string& package) {
    if (mTaken.count(package) == 0 && !takeLock(mFile.get(), mPath, rangeOf(package), 0)) {
        return false;
    }
    ++mTaken[package];
    return true;
}

void PackageLocks::drop(const std::string& package) {
    const auto taken = mTaken.find(package);
    if (taken == mTaken.end() || --taken->second > 0) return;
    mTaken.erase(taken);
    dropLock(mFile.get(), rangeOf(package));
}

void PackageLocks::takeOrRefuse(const std::string& package) {
    if (take(package)) return;
    throw HostError(kEnvironment, describeHolder(package) + " is learning or erasing " + package +
                                      " in this state folder; wait until it is done, or end it");
}

std::string PackageLocks::describeHolder(const std::string& package) const {
    return host::describeHolder(lockHolder(mFile.get(), rangeOf(package)));
}

}  // namespace host
