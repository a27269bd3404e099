// Which build of the host's programs this is.
#include "host/base/version.h"

namespace host {

std::string versionOf(const std::string& program) {
    return program + " " ORVO_VERSION;
}

}  // namespace host
