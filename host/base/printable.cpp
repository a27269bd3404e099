// Text from outside, made fit to be shown.
#include "host/base/printable.h"

#include <algorithm>
#include <cstdint>

namespace host {
namespace {

constexpr std::string_view kCut = "...";

struct Sequence {
    std::size_t bytes;
    std::uint32_t bits;      // of the first byte
    std::uint32_t smallest;  // what fewer bytes can hold is no UTF-8
};

Sequence sequenceOf(unsigned char first) {
    if (first < 0x80) return {1, first, 0};
    if (first >= 0xc0 && first < 0xe0) return {2, first & 0x1fU, 0x80};
    if (first >= 0xe0 && first < 0xf0) return {3, first & 0x0fU, 0x800};
    if (first >= 0xf0 && first < 0xf8) return {4, first & 0x07U, 0x10000};
    return {0, 0, 0};
}

bool isShown(std::uint32_t codePoint) {
    const bool isControl = codePoint < 0x20 || (codePoint >= 0x7f && codePoint < 0xa0);
    const bool isSurrogate = codePoint >= 0xd800 && codePoint < 0xe000;
    // They turn the writing direction, and so what a line seems to say.
    const bool turns = (codePoint >= 0x202a && codePoint <= 0x202e) ||
                       (codePoint >= 0x2066 && codePoint <= 0x2069);
    const bool isLineEnd = codePoint == 0x2028 || codePoint == 0x2029;
    return !isControl && !isSurrogate && !turns && !isLineEnd && codePoint < 0x110000;
}

/// Bytes of the character that `text` starts with; 0 when it is not to be shown.
std::size_t shownBytes(std::string_view text) {
    const Sequence sequence = sequenceOf(static_cast<unsigned char>(text.front()));
    if (sequence.bytes == 0 || sequence.bytes > text.size()) return 0;
    std::uint32_t codePoint = sequence.bits;
    for (std::size_t i = 1; i < sequence.bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xc0U) != 0x80U) return 0;
        codePoint = codePoint << 6U | (byte & 0x3fU);
    }
    return codePoint >= sequence.smallest && isShown(codePoint) ? sequence.bytes : 0;
}

}  // namespace

std::string printable(std::string_view text, std::size_t longest) {
    std::string result;
    while (!text.empty()) {
        const std::size_t bytes = shownBytes(text);
        const std::string_view shown = bytes == 0 ? "?" : text.substr(0, bytes);
        if (result.size() + shown.size() > longest) return result.append(kCut);
        result += shown;
        text.remove_prefix(std::max<std::size_t>(bytes, 1));
    }
    return result;
}

}  // namespace host
