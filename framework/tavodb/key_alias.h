// One key under which this process's callers know what is kept under another.
#pragma once

#include <string>

/// From now on every TavoDB of the process keeps and finds under `storedKey` what
/// its callers name `key`; there is one such pair, a later one replaces it.
///
/// For a host whose application shows another name than the one it is known by:
/// the library must be given the shown name, and uses it as the key. To be set
/// while no launch is under way, so that one launch's rows have one key.
/// Thread-safe.
void setTavoDbKeyAlias(const std::string& key, const std::string& storedKey);

namespace tavodb {

/// The key under which the rows of `key` are kept. Not exported.
std::string storedKeyOf(const std::string& key);

}  // namespace tavodb
