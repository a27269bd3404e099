// The names of a package's dump and of the notes beside it.
#include "host/dump/dump_name.h"

#include <algorithm>
#include <cstring>

#include "host/root/device_root.h"

namespace host {
namespace {

constexpr std::size_t kLongestPathOnDevice = 127;  // the library cuts the path there
constexpr std::string_view kDumpEnd = ".csv";
constexpr std::string_view kDumpMiddle = "_vmrss.";
constexpr std::string_view kCsv = "csv";
constexpr std::string_view kDecimalDigits = "0123456789";

// Between "_vmrss." and "csv": empty, or a generation with its dot, as "2.".
bool isGeneration(std::string_view text) {
    if (text.empty()) return true;
    return text.size() > 1 && text.find_first_not_of(kDecimalDigits) == text.size() - 1 &&
           text.back() == '.';
}

// `what` in place of the dump's "_vmrss.", or behind a name without it.
std::string besideOf(const std::string& dump, const std::string& what) {
    const std::size_t middle = dump.rfind(kDumpMiddle);
    const std::size_t end = dump.rfind(kCsv);
    const bool hasBoth = middle != std::string::npos && end != std::string::npos &&
                         end + kCsv.size() == dump.size() && end > middle;
    if (!hasBoth) return dump + what + "jsonl";
    const std::size_t start = middle + kDumpMiddle.size();
    const std::string generation = dump.substr(start, end - start);
    if (!isGeneration(generation)) return dump + what + "jsonl";
    return dump.substr(0, middle) + what + generation + "jsonl";
}

}  // namespace

std::string dumpNameOf(const std::string& package) {
    const std::size_t longest = kLongestPathOnDevice - std::strlen(kDumpFolder) - 1;
    std::string name = package + std::string(kDumpSuffix);
    name.resize(std::min(name.size(), longest));
    return name;
}

std::string dumpNameOf(const std::string& package, std::int32_t generation) {
    std::string name = dumpNameOf(package);
    const std::string number = '.' + std::to_string(generation);
    const std::size_t end = name.rfind(kDumpEnd);
    const bool isCut = end == std::string::npos || end + kDumpEnd.size() != name.size();
    return name.insert(isCut ? name.size() : end, number);
}

std::string notesNameOf(const std::string& dump) {
    return besideOf(dump, "_launches.");
}

std::string probeNameOf(const std::string& dump) {
    return besideOf(dump, "_probe.");
}

}  // namespace host
