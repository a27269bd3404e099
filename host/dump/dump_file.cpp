// Finds and reads the dump of a package.
#include "host/dump/dump_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/dump/dump_name.h"
#include "host/dump/dump_parser.h"
#include "host/dump/launch_grouping.h"

namespace host {
namespace {

constexpr std::string_view kFileSuffix = ".csv";

// A thousand long launches, or ten thousand short ones. What is parsed takes
// about as much memory as the text.
constexpr std::size_t kLargestFile = std::size_t{64} << 20U;

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::string packageOf(const std::string& file) {
    std::string name = file.substr(file.rfind('/') + 1);
    const std::string_view suffix = endsWith(name, kDumpSuffix) ? kDumpSuffix : kFileSuffix;
    if (endsWith(name, suffix) && name.size() > suffix.size()) {
        name.resize(name.size() - suffix.size());
    }
    return name;
}

[[noreturn]] void failToRead(const DumpSource& source) {
    const int error = errno;
    if (error == ENOENT && source.isOfState) {
        throw HostError(kNotLearned, "there is no dump of " + printable(source.package) + " (" +
                                         printable(source.file) +
                                         "); record one with orvo-host learn --dump");
    }
    throw HostError(kEnvironment,
                    "cannot read " + printable(source.file) + ": " + std::strerror(error));
}

std::string readText(const DumpSource& source) {
    const UniqueFd file(open(source.file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) failToRead(source);
    std::string text;
    if (!readWhole(file.get(), text, kLargestFile)) failToRead(source);
    if (text.size() <= kLargestFile) return text;
    throw HostError(kUsage, printable(source.file) + ": larger than " +
                                std::to_string(kLargestFile >> 20U) +
                                " MiB; keep its last blocks alone");
}

}  // namespace

DumpSource dumpSourceOf(const std::string& argument, const StateFolder& state) {
    if (argument.empty()) throw HostError(kUsage, "PACKAGE is empty");
    const bool isFile = endsWith(argument, kFileSuffix) || argument.find('/') != std::string::npos;
    if (isFile) return {argument, packageOf(argument), false};
    return {state.dumps() + '/' + dumpNameOf(argument), argument, true};
}

const DumpedLaunch& Dump::launch(int number) const {
    if (number >= 1 && number <= static_cast<int>(launches.size())) {
        return launches[static_cast<std::size_t>(number) - 1];
    }
    throw HostError(kUsage, "there is no launch " + std::to_string(number) + " in " +
                                printable(source.file) + "; it has " +
                                std::to_string(launches.size()));
}

Dump readDump(const DumpSource& source) {
    const std::string text = readText(source);
    Dump dump{source, groupLaunches(parseDumpBlocks(text, printable(source.file)))};
    if (dump.launches.empty()) {
        throw HostError(kUsage, printable(source.file) + ":1: the file holds no launch");
    }
    return dump;
}

}  // namespace host
