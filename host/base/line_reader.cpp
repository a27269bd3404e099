// Reads a file line by line, in memory that its size does not change.
#include "host/base/line_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "host/base/exit_code.h"

namespace host {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 16U;

}  // namespace

bool LineReader::fill() {
    mBuffer.resize(kChunk);
    mStart = 0;
    ssize_t length = 0;
    do {
        length = read(mFd, mBuffer.data(), kChunk);
    } while (length < 0 && errno == EINTR);
    if (length < 0) {
        throw HostError(kEnvironment, "cannot read " + mPath + ": " + std::strerror(errno));
    }
    mBuffer.resize(static_cast<std::size_t>(length));
    return length > 0;
}

bool LineReader::next() {
    mLine.clear();
    mIsTooLong = false;
    bool isThere = false;
    while (mStart < mBuffer.size() || fill()) {
        isThere = true;
        const std::size_t end = std::min(mBuffer.find('\n', mStart), mBuffer.size());
        const std::size_t length = end - mStart;
        const std::size_t room = mLongest - mLine.size();
        mIsTooLong = mIsTooLong || length > room;
        mLine.append(mBuffer, mStart, std::min(length, room));
        mStart = end + 1;
        if (end < mBuffer.size()) break;
    }
    return isThere;
}

}  // namespace host
