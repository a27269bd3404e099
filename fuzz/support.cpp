// Files in memory, and a log that formats every line and keeps none.
#include "fuzz/support.h"

#include <algorithm>
#include <android/log.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/tavo_log.h"

namespace fuzz {

Stream streamOf(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("fuzz", MFD_CLOEXEC);
    require(pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
    return {fdopen(file, "r"), std::fclose};
}

host::ReadBytes readsOf(std::string_view text) {
    const std::size_t most = text.empty() ? 1 : 1 + static_cast<unsigned char>(text[0]) * 16U;
    return [text, most](char* buffer, std::size_t size) mutable {
        const std::size_t length = text.copy(buffer, std::min(size, most));
        text.remove_prefix(length);
        return length;
    };
}

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setTavoLogLevel(4);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    return 0;
}
