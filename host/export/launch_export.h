// Recorded launches in the formats of other tools.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/export/recording.h"

namespace host {

/// Writes launches as they come and holds none, so that a dump of any size can be
/// handed on. What the functions return, one after the other, is the file.
class LaunchExport {
public:
    LaunchExport() = default;
    LaunchExport(const LaunchExport&) = delete;
    LaunchExport& operator=(const LaunchExport&) = delete;
    virtual ~LaunchExport() = default;

    virtual std::string start() = 0;
    virtual std::string startRecording(const Recording& recording) = 0;
    virtual std::string add(const DumpedLaunch& launch) = 0;
    virtual std::string endRecording() = 0;
    virtual std::string end() = 0;
};

/// All series in long form, one value per line:
///   recording (from 1), launch, sample (from 0), since_start_ms, metric, value
/// The metrics are vmrss_kb, oom_score, fd_count, and look_after_kb for the memory
/// that the host saw behind the library's last sample, whose numbers go on. The time
/// is empty where the program's start is not known, and for descriptor counts, whose
/// time nobody notes.
std::unique_ptr<LaunchExport> exportCsv();

/// One object (docs/schemas/export.schema.json).
std::unique_ptr<LaunchExport> exportJson();

/// Trace Event JSON, which trace viewers open (docs/schemas/trace.schema.json). Each
/// launch is a process, and all begin at the same time, so that they lie above each
/// other.
std::unique_ptr<LaunchExport> exportTrace();

/// Tables to paste where people write. What they mean stands below.
std::unique_ptr<LaunchExport> exportMarkdown();

/// The names of the formats, as --format takes them.
std::vector<std::string> exportFormats();

/// Of one of these names.
std::unique_ptr<LaunchExport> exportAs(const std::string& format);

}  // namespace host
