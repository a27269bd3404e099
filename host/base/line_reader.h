// Lines of a text of any size, in bounded memory.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Puts up to `size` bytes into `buffer` and gives how many; 0 at the text's end.
using ReadBytes = std::function<std::size_t(char* buffer, std::size_t size)>;

/// Reads on from the byte `start` of the file, wherever others read it. Throws
/// HostError, kEnvironment, which names `fileName`. `fd` stays the caller's.
ReadBytes bytesOf(int fd, const std::string& fileName, std::int64_t start = 0);

struct TextLine {
    std::string_view text;    ///< without its end, "\n" or "\r\n"; the start of one too long
    std::int64_t number = 0;  ///< from 1
    std::int64_t offset = 0;  ///< of its first byte
    bool isWhole = true;      ///< it has an end
    bool isTooLong = false;
};

class LineReader {
public:
    /// Lines longer than `longest` bytes are too long.
    LineReader(ReadBytes read, std::size_t longest);

    bool atEnd() const { return mIsAtEnd; }

    /// The next line, whose text stays until it is skipped.
    const TextLine& peek() const { return mLine; }

    void skip();

    /// Skips empty lines and gives their number.
    std::int64_t skipBlanks();

private:
    void load();
    bool fill();
    void take(std::size_t length, bool isWhole);
    void skipRest();

    const ReadBytes mRead;
    const std::size_t mLongest;
    std::vector<char> mBuffer;
    std::size_t mStart = 0;  // of the line at hand, in the buffer
    std::size_t mEnd = 0;    // of what was read
    std::size_t mNext = 0;   // of the line after it
    TextLine mLine;
    bool mIsAtEnd = false;
};

}  // namespace host
