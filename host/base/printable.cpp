// Text from outside, made fit to be shown.
#include "host/base/printable.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

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

struct CodePoints {
    std::uint32_t first;
    std::uint32_t last;
};

// Nothing of these can be seen, but terminals obey them, they turn the writing
// direction, or they make two different names look the same.
constexpr CodePoints kNotShown[] = {
    {0x0, 0x1f},         // control characters
    {0x7f, 0x9f},        // and those with the eighth bit
    {0xad, 0xad},        // the soft hyphen
    {0x61c, 0x61c},      // turns the direction
    {0x180e, 0x180e},    // has no width
    {0x200b, 0x200f},    // have no width, or turn the direction
    {0x2028, 0x202e},    // line ends, and turns of the direction
    {0x2060, 0x206f},    // the same again
    {0xd800, 0xdfff},    // halves of characters
    {0xfeff, 0xfeff},    // the byte order mark
    {0xfff9, 0xfffb},    // annotations
    {0xe0000, 0xe0fff},  // tags
    {0x110000, ~0U},     // beyond Unicode
};

bool isShown(std::uint32_t codePoint) {
    return std::none_of(std::begin(kNotShown), std::end(kNotShown), [&](const CodePoints& range) {
        return codePoint >= range.first && codePoint <= range.last;
    });
}

// Bytes of the character that `text` starts with; 0 when it is not to be shown.
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
