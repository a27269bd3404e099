// The framework's property store (libtavoconfig).
#pragma once

#include <cstddef>
#include <cstdint>

class TavoConfigDataStore {
public:
    /// Reads the property `name` into `value`, a buffer of `size` bytes, cut to
    /// the buffer and always terminated when `size` is at least 1.
    /// Returns non-zero when the value was read; 0 when the property is absent
    /// or cannot be read, with the buffer left as it was. Thread-safe.
    std::int32_t GetProperty(const char* name, char* value, std::size_t size);

    /// The one property store of the process.
    static TavoConfigDataStore mTavoStorage;
};
