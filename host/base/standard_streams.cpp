// The descriptors 0, 1 and 2, as they must be before anything else is opened.
#include "host/base/standard_streams.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"

namespace host {

// Each is opened for the direction it is not used in. The lowest free number is its own,
// for those below are held already.
void holdStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) >= 0) continue;
        [[maybe_unused]] const int held =
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void print(const std::string& text, const char* remedy) {
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return;
    throw HostError(kEnvironment, std::string("cannot write to standard output: ") +
                                      std::strerror(errno) + "; " + remedy);
}

void sayLine(const std::string& line) {
    std::fprintf(stderr, "orvo-host: %s\n", printable(line).c_str());
}

}  // namespace host
