// The process's log level: one atomic, preset from the environment at load.
#include "platform/tavo_log.h"

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/log.h"

namespace {

constexpr char kLogTag[] = "TAVO-LOG";

// A decimal number; anything else is reported once and counts as 0, which gates
// every debug line off.
std::uint32_t initialLevel() noexcept {
    const char* text = secure_getenv("TAVO_LOG_LEVEL");
    if (!text || !*text) return 0;
    const char* end = text + std::strlen(text);
    std::uint32_t level = 0;
    const auto parsed = std::from_chars(text, end, level);
    if (parsed.ec == std::errc() && parsed.ptr == end) return level;
    ORVO_LOGE("initialLevel", "TAVO_LOG_LEVEL=%s is no number; using 0", text);
    return 0;
}

std::atomic<std::uint32_t> gLevel{initialLevel()};

}  // namespace

std::uint32_t getTavoLogLevel() {
    return gLevel.load(std::memory_order_relaxed);
}

void setTavoLogLevel(std::uint32_t level) {
    gLevel.store(level, std::memory_order_relaxed);
}
