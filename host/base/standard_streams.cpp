// The descriptors 0, 1 and 2, as they must be before anything else is opened.
#include "host/base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace host {

// Each is opened for what it is not used for. The lowest free number is its own,
// for those below are held already.
void holdStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) >= 0) continue;
        [[maybe_unused]] const int held =
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace host
