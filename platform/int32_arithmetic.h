// 32-bit arithmetic with a defined result for every operand.
#pragma once

#include <cstdint>
#include <limits>

/// a + b modulo 2^32: a signed overflow wraps instead of being undefined.
constexpr std::int32_t wrappingAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

/// `value` truncated toward zero, or the nearest int32 when it lies outside;
/// not-a-number gives 0.
constexpr std::int32_t saturatingInt32(double value) {
    constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
    if (value != value) return 0;
    if (value <= kMin) return kMin;
    if (value >= kMax) return kMax;
    return static_cast<std::int32_t>(value);
}
