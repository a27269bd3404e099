// JSON as the verbs print it and as files hold it.
#include "host/base/json_text.h"

namespace host {

std::string jsonLine(const Json& json) {
    return json.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

Json parseJson(std::string_view text) {
    return Json::parse(text);
}

}  // namespace host
