// Reads a file line by line, in memory that its size does not change.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace host {

class LineReader {
public:
    /// `fd`, of the file `path`, must stay open.
    LineReader(int fd, std::string path, std::size_t longestLine)
        : mFd(fd), mPath(std::move(path)), mLongest(longestLine) {}

    /// Goes to the next line; false at the end of the file. A last line without
    /// a newline is one too. Throws HostError when reading fails.
    bool next();

    /// The line without its newline; valid until the next one. Of a line that is
    /// too long only the start.
    std::string_view line() const { return mLine; }
    bool isTooLong() const { return mIsTooLong; }

private:
    bool fill();

    const int mFd;
    const std::string mPath;
    const std::size_t mLongest;
    std::string mBuffer;
    std::size_t mStart = 0;  // of what is not yet read, in the buffer
    std::string mLine;
    bool mIsTooLong = false;
};

}  // namespace host
