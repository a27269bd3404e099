// The lines about caught exceptions.
#include "platform/log.h"

#include <exception>

bool logStandardException(const char* tag, const char* function, int line) noexcept {
    const char* const kLogTag = tag;
    try {
        throw;
    } catch (const std::exception& e) {
        ORVO_LOGE_AT(line, function, "exception %s\n", e.what());
        return true;
    } catch (...) {
        return false;
    }
}
