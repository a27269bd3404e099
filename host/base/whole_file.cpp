// Reads and writes all that there is.
#include "host/base/whole_file.h"

#include <cerrno>
#include <unistd.h>

namespace host {
namespace {

constexpr std::size_t kReadSize = std::size_t{1} << 16U;

}  // namespace

bool writeWhole(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t length = write(fd, text.data(), text.size());
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(length));
    }
    return true;
}

bool readWhole(int fd, std::string& text, std::size_t limit) {
    while (text.size() <= limit) {
        const std::size_t size = text.size();
        text.resize(size + kReadSize);
        const ssize_t length = read(fd, &text[size], kReadSize);
        const int error = errno;
        text.resize(size + static_cast<std::size_t>(length > 0 ? length : 0));
        errno = error;
        if (length == 0) return true;
        if (length < 0 && error != EINTR) return false;
    }
    return true;
}

}  // namespace host
