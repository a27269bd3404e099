// The type of JSON values, for declarations: its header takes a second to compile.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace host {

/// Members keep their order.
using Json = nlohmann::ordered_json;

}  // namespace host
