// Lines of a text of any size, in bounded memory.
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

ReadBytes bytesOf(int fd, const std::string& fileName, std::int64_t start) {
    return [fd, fileName, offset = off_t{start}](char* buffer, std::size_t size) mutable {
        ssize_t length = 0;
        do {
            length = pread(fd, buffer, size, offset);
        } while (length < 0 && errno == EINTR);
        if (length < 0) {
            throw HostError(kEnvironment, "cannot read " + fileName + ": " + std::strerror(errno));
        }
        offset += length;
        return static_cast<std::size_t>(length);
    };
}

LineReader::LineReader(ReadBytes read, std::size_t longest)
    : mRead(std::move(read)), mLongest(longest), mBuffer(longest + kChunk) {
    load();
}

void LineReader::skip() {
    if (mLine.isTooLong) skipRest();
    mLine.offset += static_cast<std::int64_t>(mNext - mStart);
    mStart = mNext;
    load();
}

std::int64_t LineReader::skipBlanks() {
    std::int64_t blanks = 0;
    for (; !mIsAtEnd && mLine.text.empty(); ++blanks)
        skip();
    return blanks;
}

void LineReader::load() {
    ++mLine.number;
    for (std::size_t searched = 0;;) {
        const char* const start = mBuffer.data() + mStart;
        const std::size_t length = mEnd - mStart;
        const void* const end = std::memchr(start + searched, '\n', length - searched);
        if (end != nullptr) {
            return take(static_cast<std::size_t>(static_cast<const char*>(end) - start), true);
        }
        searched = length;
        if (length > mLongest || !fill()) return take(length, false);
    }
}

bool LineReader::fill() {
    std::memmove(mBuffer.data(), mBuffer.data() + mStart, mEnd - mStart);
    mEnd -= mStart;
    mStart = 0;
    const std::size_t length = mRead(mBuffer.data() + mEnd, mBuffer.size() - mEnd);
    mEnd += length;
    return length > 0;
}

void LineReader::take(std::size_t length, bool isWhole) {
    mLine.isTooLong = length > mLongest;
    mLine.text = {mBuffer.data() + mStart, std::min(length, mLongest)};
    mLine.isWhole = isWhole;
    mNext = mStart + length + (isWhole ? 1 : 0);
    mIsAtEnd = mNext == mStart;
    if (!mLine.text.empty() && mLine.text.back() == '\r') mLine.text.remove_suffix(1);
}

// Up to the line's end, in the bytes that are here or in those still to read.
void LineReader::skipRest() {
    while (!mLine.isWhole) {
        mLine.offset += static_cast<std::int64_t>(mEnd - mStart);
        mStart = mEnd;
        const bool hasMore = fill();
        mNext = mStart;
        if (!hasMore) return;
        const void* const end = std::memchr(mBuffer.data(), '\n', mEnd);
        if (end == nullptr) continue;
        mLine.isWhole = true;
        mNext = static_cast<std::size_t>(static_cast<const char*>(end) - mBuffer.data()) + 1;
    }
}

}  // namespace host
