// The FD-info message: a uint16 count, two bytes of padding, then that many
// int32 in host byte order. The host's buffer may be unaligned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

inline std::uint16_t fdInfoCount(const void* msg) {
    std::uint16_t count = 0;
    std::memcpy(&count, msg, sizeof(count));
    return count;
}

/// Entry `index`, which is below the message's count.
inline std::int32_t fdInfoEntry(const void* msg, int index) {
    constexpr int kEntriesOffset = 4;
    std::int32_t entry = 0;
    const auto* entries = static_cast<const char*>(msg) + kEntriesOffset;
    std::memcpy(&entry, entries + static_cast<std::size_t>(index) * sizeof(entry), sizeof(entry));
    return entry;
}
