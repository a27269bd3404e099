// The lines about caught exceptions.
#include "platform/log.h"

#include <exception>

void logCaughtException(const char* tag, const char* function, int standardLine, int unknownLine,
                        const char* unknown) noexcept {
    const char* const kLogTag = tag;
    try {
        throw;
    } catch (const std::exception& e) {
        ORVO_LOGE_AT(standardLine, function, "exception %s\n", e.what());
    } catch (...) {
        ORVO_LOGE_AT(unknownLine, function, "%s", unknown);
    }
}
