// Which build of the host's programs this is.
#include "host/base/version.h"

namespace host {

std::string buildVersion() {
    return ORVO_VERSION;
}

std::string versionOf(const std::string& program) {
    return program + ' ' + buildVersion();
}

}  // namespace host
