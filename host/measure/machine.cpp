// What is reported of the machine that launches are measured on.
#include "host/measure/machine.h"

#include <cstdlib>
#include <sys/utsname.h>
#include <unistd.h>

#include "host/base/file_content.h"

namespace host {
namespace {

constexpr std::string_view kPadding = " \t";

}  // namespace

std::string valueOf(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view key = line.substr(0, colon);
        if (key.substr(0, key.find_last_not_of(kPadding) + 1) != name) continue;
        const std::size_t value = line.find_first_not_of(kPadding, colon + 1);
        return value == std::string_view::npos ? "" : std::string(line.substr(value));
    }
    return "";
}

Machine thisMachine() {
    utsname system{};
    uname(&system);
    Machine machine;
    machine.host = system.nodename;
    machine.architecture = system.machine;
    machine.processor = valueOf(contentOf("/proc/cpuinfo"), "model name");
    machine.processors = static_cast<std::int32_t>(sysconf(_SC_NPROCESSORS_ONLN));
    machine.memoryKb = std::atoll(valueOf(contentOf("/proc/meminfo"), "MemTotal").c_str());
    machine.kernel = std::string(system.sysname) + ' ' + system.release;
    return machine;
}

}  // namespace host
