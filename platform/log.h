// The library's log lines: one format, one gate, written through Android's log.
//
// A source unit names its tag once (`constexpr char kLogTag[] = ...`) and
// writes lines with the macros below. `function` is the operation that the
// line belongs to, also when the code stands in a helper of it; log readers
// match on it. The _AT forms take the line number that log readers expect; the
// others print the source line of the call.
//
// Arguments of a debug line are evaluated only when the line is written, so
// that a line gated off costs one call and formats nothing.
#pragma once

#include <android/log.h>
#include <cstdint>

#include "platform/tavo_log.h"

// The gate is asked anew for each line: the level may change at any time.
#define ORVO_LOG_GATE_OPEN(gate) (static_cast<std::uint8_t>(getTavoLogLevel()) >= (gate))

#define ORVO_LOG_LINE(priority, line, function, message, ...)                                \
    __android_log_print(priority, kLogTag, "%s: %s() %d: " message, kLogTag, function, line, \
                        ##__VA_ARGS__)

#define ORVO_LOGD_AT(gate, line, function, message, ...)                              \
    do {                                                                              \
        if (ORVO_LOG_GATE_OPEN(gate)) {                                               \
            ORVO_LOG_LINE(ANDROID_LOG_DEBUG, line, function, message, ##__VA_ARGS__); \
        }                                                                             \
    } while (false)

#define ORVO_LOGE_AT(line, function, message, ...) \
    ORVO_LOG_LINE(ANDROID_LOG_ERROR, line, function, message, ##__VA_ARGS__)

#define ORVO_LOGD(gate, function, message, ...) \
    ORVO_LOGD_AT(gate, __LINE__, function, message, ##__VA_ARGS__)

#define ORVO_LOGE(function, message, ...) ORVO_LOGE_AT(__LINE__, function, message, ##__VA_ARGS__)

/// Logs the exception being handled, with its text, when it is a standard one;
/// else returns false.
bool logStandardException(const char* tag, const char* function, int line) noexcept;

/// Logs the exception being handled, in a catch (...) block only. Two line
/// numbers, as log readers expect one for either kind; `unknown` is the other
/// kind's message, a literal that becomes part of the line's format.
#define ORVO_LOG_CAUGHT_AS(unknown, standardLine, unknownLine, function) \
    do {                                                                 \
        if (!logStandardException(kLogTag, function, standardLine)) {    \
            ORVO_LOGE_AT(unknownLine, function, unknown);                \
        }                                                                \
    } while (false)

#define ORVO_LOG_CAUGHT_AT(standardLine, unknownLine, function) \
    ORVO_LOG_CAUGHT_AS("unknown exception\n", standardLine, unknownLine, function)

#define ORVO_LOG_CAUGHT(function) ORVO_LOG_CAUGHT_AT(__LINE__, __LINE__, function)
