// Finds and reads the dump of a package.
#include "host/dump/dump_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/dump/dump_name.h"

namespace host {
namespace {

constexpr std::string_view kFileSuffix = ".csv";

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

[[noreturn]] void refuseMissing(const DumpSource& source) {
    if (!source.isOfState) {
        throw HostError(kEnvironment,
                        "cannot open " + printable(source.file) + ": " + std::strerror(ENOENT));
    }
    const std::string remedy = source.ended
                                   ? "; none can be recorded for a generation that has ended"
                                   : "; record one with orvo-host learn --dump";
    throw HostError(kNotLearned, "there is no dump of " + printable(titleOf(source)) + " (" +
                                     printable(source.file) + ")" + remedy);
}

UniqueFd openDump(const DumpSource& source) {
    UniqueFd file = source.isOfState ? openKeptFile(source.file, O_RDONLY)
                                     : openGivenFile(source.file, kEnvironment);
    if (!file.isOpen()) refuseMissing(source);
    return file;
}

}  // namespace

bool isDumpFile(const std::string& argument) {
    return endsWith(argument, kFileSuffix) || argument.find('/') != std::string::npos;
}

DumpSource dumpSourceOf(const std::string& argument, const StateFolder& state) {
    if (argument.empty()) throw HostError(kUsage, "PACKAGE is empty");
    if (isDumpFile(argument)) return {argument, packageOf(argument), false};
    return {state.dumps() + '/' + dumpNameOf(argument), argument, true};
}

DumpSource dumpSourceOf(DumpSource source, const std::string& generation, const StateFolder& state,
                        const Generations& known) {
    if (!source.isOfState)
        throw HostError(kUsage, "--generation needs a PACKAGE; a file is a single dump");
    const Generation chosen = known.chosenOf(source.package, generation);
    if (chosen.number == known.newestOf(source.package).number) return source;
    source.file = state.dumps() + '/' + dumpNameOf(source.package, chosen.number);
    source.ended = chosen;
    return source;
}

std::string titleOf(const DumpSource& source) {
    if (!source.ended) return source.package;
    return source.package + ", generation " + generationText(*source.ended);
}

void refuseNumber(const DumpSource& source, std::int64_t number, std::int64_t launches) {
    throw HostError(kUsage, "there is no launch " + std::to_string(number) + " in " +
                                printable(source.file) + "; it has " + std::to_string(launches));
}

DumpFile::DumpFile(const DumpSource& source)
    : mShownName(printable(source.file)),
      mFile(openDump(source)),
      mLaunches(bytesOf(mFile.get(), mShownName), mShownName) {}

std::optional<DumpedLaunch> DumpFile::next() {
    std::optional<DumpedLaunch> launch = mLaunches.next();
    if (!launch && mIsEmpty) throw HostError(kUsage, mShownName + ":1: the file holds no launch");
    mIsEmpty = false;
    return launch;
}

}  // namespace host
