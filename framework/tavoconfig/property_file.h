// Properties from the file that TAVO_PROPERTIES names.
#pragma once

#include <optional>
#include <string>

/// The value of the property, or nothing when it is absent or cannot be read.
std::optional<std::string> readProperty(const std::string& name);
