// Writes the dumps of launches that the host followed, and the notes beside them.
#include "host/dump/dump_writer.h"

#include <filesystem>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/line_reader.h"
#include "host/base/printable.h"
#include "host/base/whole_file.h"
#include "host/dump/analysis.h"
#include "host/dump/dump_name.h"
#include "host/dump/launch_grouping.h"
#include "host/library/log_sink.h"
#include "host/root/device_root.h"

namespace host {
namespace {

void analyse(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
             std::int32_t subtype) {
    const LogPause pause;
    Analysis analysis(type, subtype);
    analysis.writeDumpOf(package);
    for (const SeriesLengths& seen : launch.evaluations)
        analysis.evaluate(launch.series, seen);
    if (launch.isAborted) analysis.abort();
}

void findLaunches(int fd, const std::string& name, const TrimmedFiles::Note& note) {
    LaunchReader launches(bytesOf(fd, name), name);
    while (const std::optional<DumpedLaunch> launch = launches.next())
        note(launch->offset);
}

void findLines(int fd, const std::string& name, const TrimmedFiles::Note& note) {
    for (LineReader lines(bytesOf(fd, name), 0); !lines.atEnd(); lines.skip())
        note(lines.peek().offset);
}

// A line that a kill or a full disk cut off is closed first.
void appendLine(int fd, const std::string& line) {
    const off_t size = lseek(fd, 0, SEEK_END);
    char last = '\n';
    if (size > 0 && pread(fd, &last, 1, size - 1) != 1) return;
    writeWhole(fd, last == '\n' ? line : '\n' + line);
}

}  // namespace

DumpWriter::DumpWriter(const std::string& folder, std::size_t launchesKept)
    : mFolder([&] {
          std::error_code ignored;
          return std::filesystem::equivalent(folder, kDumpFolder, ignored) ? folder : kDumpFolder;
      }()),
      mDumps(launchesKept, findLaunches),
      mNotes(launchesKept, findLines),
      mProbes(1, findLines) {}

void DumpWriter::write(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
                       std::int32_t subtype) {
    if (launch.evaluations.empty() && !launch.isAborted) return;
    const std::string file = mFolder + '/' + dumpNameOf(package);
    if (package.find('/') != std::string::npos) {
        throw HostError(kEnvironment, "cannot write the dump " + printable(file) +
                                          ": no PACKAGE with '/' in it has one");
    }
    mDumps.append(file, [&](int) { analyse(package, launch, type, subtype); });
}

void DumpWriter::write(const std::string& package, const RecordedLaunch& launch,
                       const LaunchNote& told, double startedAtMs, const Series& seenKb) {
    write(package, launch, told.kind.type, told.kind.subtype);
    if (launch.evaluations.empty()) return;
    writeNote(package, noteOf(launch, told, startedAtMs, seenKb));
}

// Whether it was written whole shows at the file's end.
void DumpWriter::writeNote(const std::string& package, const LaunchNote& note) {
    mNotes.append(mFolder + '/' + notesNameOf(dumpNameOf(package)),
                  [&](int fd) { appendLine(fd, toJsonLine(note)); });
}

void DumpWriter::writeProbe(const std::string& package, const LaunchNote& note) {
    mProbes.append(mFolder + '/' + probeNameOf(dumpNameOf(package)),
                   [&](int fd) { appendLine(fd, toJsonLine(note)); });
}

}  // namespace host
