// TavoConfigDataStore: hands a property's value to a caller's buffer.
#include "platform/tavo_config.h"

#include "framework/tavoconfig/property_file.h"
#include "platform/log.h"

namespace {

constexpr char kLogTag[] = "TAVO-CONFIG";

}  // namespace

TavoConfigDataStore TavoConfigDataStore::mTavoStorage;

std::int32_t TavoConfigDataStore::GetProperty(const char* name, char* value, std::size_t size) {
    if (!name || !value || size == 0) return 0;
    try {
        const auto property = readProperty(name);
        // An empty value counts as none: the device's store does not distinguish them.
        if (!property || property->empty()) return 0;
        value[property->copy(value, size - 1)] = '\0';
        return 1;
    } catch (...) {
        ORVO_LOGE("GetProperty", "could not read property %s", name);
        return 0;
    }
}
