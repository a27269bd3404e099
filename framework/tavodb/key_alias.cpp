// The process's one pair of key and stored key.
#include "framework/tavodb/key_alias.h"

#include <mutex>

#include "platform/thread_annotations.h"

namespace {

// Never destroyed: the learning thread outlives the statics.
struct Alias {
    std::mutex mutex;
    std::string key ORVO_GUARDED_BY(mutex);
    std::string storedKey ORVO_GUARDED_BY(mutex);
};

Alias& theAlias() {
    static Alias& alias = *new Alias;
    return alias;
}

}  // namespace

void setTavoDbKeyAlias(const std::string& key, const std::string& storedKey) {
    Alias& alias = theAlias();
    const std::lock_guard<std::mutex> lock(alias.mutex);
    alias.key = key;
    alias.storedKey = storedKey;
}

std::string tavodb::storedKeyOf(const std::string& key) {
    Alias& alias = theAlias();
    const std::lock_guard<std::mutex> lock(alias.mutex);
    return key == alias.key ? alias.storedKey : key;
}
