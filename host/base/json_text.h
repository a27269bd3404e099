// JSON as the verbs print it and as files hold it, and numbers read from it.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/base/json_fwd.h"

namespace host {

/// What was not measured is null, never 0.
template <typename T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

/// One line of ASCII. Names come from outside and may hold any bytes; what is no
/// UTF-8 is replaced, and what a terminal might obey is escaped.
std::string jsonLine(const Json& json);

/// Throws Json::parse_error, and Json::out_of_range for a number beyond all sizes.
Json parseJson(std::string_view text);

/// Throws a std::exception for any other value; the parser would cut numbers to size.
template <typename T>
T integerOf(const Json& value) {
    using Limits = std::numeric_limits<T>;
    const bool isHuge = value.is_number_unsigned() &&
                        value.get<std::uint64_t>() > static_cast<std::uint64_t>(Limits::max());
    const bool fits = value.is_number_integer() && !isHuge &&
                      value.get<std::int64_t>() >= Limits::min() &&
                      value.get<std::int64_t>() <= Limits::max();
    if (!fits) throw std::out_of_range("no integer of this size");
    return value.get<T>();
}

/// None where it is null or missing.
inline std::optional<std::int32_t> integerAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return integerOf<std::int32_t>(*found);
}

}  // namespace host
