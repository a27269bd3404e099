// Properties from the device's own property store.
#include <sys/system_properties.h>

#include "framework/tavoconfig/property_source.h"

std::optional<std::string> readProperty(const std::string& name) {
    char value[PROP_VALUE_MAX];
    const int length = __system_property_get(name.c_str(), value);
    if (length <= 0) return std::nullopt;
    return std::string(value, static_cast<std::size_t>(length));
}
