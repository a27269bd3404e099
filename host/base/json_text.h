// JSON as the verbs print it.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace host {

using Json = nlohmann::ordered_json;

/// What was not measured is null, never 0.
template <typename T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

/// One line of ASCII. Names come from outside and may hold any bytes; what is no
/// UTF-8 is replaced, and what a terminal might obey is escaped.
inline std::string jsonLine(const Json& json) {
    return json.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

}  // namespace host
