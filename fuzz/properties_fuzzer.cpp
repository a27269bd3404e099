// The property file: what the host takes out of one, the framework does not find.
#include <optional>
#include <unistd.h>

#include "framework/tavoconfig/property_file.h"
#include "fuzz/support.h"
#include "host/state/state_folder.h"

namespace {

// The property's value in a file of this text.
std::optional<std::string> propertyIn(const std::string& text, const std::string& name) {
    const fuzz::Stream file =
        fuzz::streamOf(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    const std::string path = "/proc/self/fd/" + std::to_string(fileno(file.get()));
    setenv("TAVO_PROPERTIES", path.c_str(), 1);
    return readProperty(name);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const std::string without = host::withoutProperty(text, "a.b");
    fuzz::require(propertyIn(without, "a.b") == std::nullopt);
    fuzz::require(propertyIn(without, "a") == propertyIn(text, "a"));
    return 0;
}
