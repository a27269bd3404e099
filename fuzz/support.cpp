// Files in memory, and a log that formats every line and keeps none.
#include "fuzz/support.h"

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

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setTavoLogLevel(4);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    return 0;
}
