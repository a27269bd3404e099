// Where the library's log lines go: a file, standard error, a listener.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/base/rotating_file.h"
#include "host/library/log_line.h"

struct __android_logger_data;

namespace host {

/// Takes every line of the process's log while it lives; one at a time.
/// Lines arrive on whichever thread writes them, the learning thread included,
/// so a listener must be quick.
class LogSink {
public:
    using Listener = std::function<void(const LogLine&)>;

    /// Appends the lines wanted at `level` to `file` (none when the name is
    /// empty), and with `echo` writes them to standard error too. Throws
    /// HostError when the file does not open.
    LogSink(const std::string& file, std::uint32_t level, bool echo);
    ~LogSink();
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    /// Gives every line, wanted or not, to `listener`; an empty one ends that.
    void setListener(Listener listener);

    /// The last error that the database reported, for messages; may be empty.
    std::string lastDatabaseError();

private:
    static void onLine(const __android_logger_data* data, const char* text);
    void take(const LogLine& line, const char* text);
    void keep(const LogLine& line, const char* text);

    const std::uint32_t mLevel;
    const bool mEcho;
    std::optional<RotatingFile> mFile;
    Listener mListener;
    std::string mLastDatabaseError;
};

/// While one lives, no sink gets what its thread logs: the host runs parts of
/// the library itself, whose lines are not those of the launch being followed.
class LogPause {
public:
    LogPause();
    ~LogPause();
    LogPause(const LogPause&) = delete;
    LogPause& operator=(const LogPause&) = delete;
};

}  // namespace host
