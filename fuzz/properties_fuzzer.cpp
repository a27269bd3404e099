// The property file: what the host writes into one, the framework reads.
#include <optional>
#include <unistd.h>

#include "framework/tavoconfig/property_source.h"
#include "fuzz/support.h"
#include "host/state/state_folder.h"

namespace {

/// The property's value in a file of this text.
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
    const std::string name = host::kDumpProperty;
    const std::string on = host::withProperty(text, name, "true");
    const std::string off = host::withProperty(text, name, "");
    fuzz::require(propertyIn(on, name) == "true");
    fuzz::require(propertyIn(off, name) == std::nullopt);
    fuzz::require(host::withProperty(on, name, "true") == on);

    const std::string other = "a";
    const std::optional<std::string> value = propertyIn(text, other);
    fuzz::require(propertyIn(on, other) == value && propertyIn(off, other) == value);
    return 0;
}
