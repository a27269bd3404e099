// Who may read the files that a process makes.
#include "host/base/new_files.h"

#include <optional>
#include <sys/stat.h>

namespace host {
namespace {

constexpr mode_t kMaskOfOthers = 077;
std::optional<mode_t> maskBefore;

}  // namespace

void keepNewFilesPrivate() {
    if (!maskBefore) maskBefore = umask(kMaskOfOthers);
}

mode_t personsUmask() {
    if (maskBefore) return *maskBefore;
    const mode_t mask = umask(0);  // there is no way to read it alone
    umask(mask);
    return mask;
}

}  // namespace host
