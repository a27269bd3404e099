// Where the library's log lines go: a file, standard error, a listener.
#include "host/library/log_sink.h"

#include <android/log.h>
#include <ctime>
#include <mutex>
#include <sys/time.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/library/log_messages.h"

namespace host {
namespace {

// liblog takes a plain function, so the sink it feeds has to be found. The
// library's thread outlives it: what is logged then is lost.
std::mutex theSinkMutex;
LogSink* theSink = nullptr;  // guarded by it, and so is the sink

thread_local bool isPaused = false;

char priorityLetter(int priority) {
    constexpr const char* kLetters = "??VDIWEFS";
    return priority >= 0 && priority <= ANDROID_LOG_SILENT ? kLetters[priority] : '?';
}

std::string timeStamp() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[40];
    const std::size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    char millis[8];
    snprintf(millis, sizeof millis, ".%03d", static_cast<int>(now.tv_usec / 1000));
    return std::string(text, length) + millis;
}

// A line that cannot be written is lost: the log must not stop the learning.
void writeLine(RotatingFile& file, const std::string& line) {
    try {
        file.append(line);
    } catch (const HostError&) {
    }
}

}  // namespace

LogSink::LogSink(const std::string& file, std::uint32_t level, bool echo)
    : mLevel(level), mEcho(echo) {
    if (!file.empty()) mFile.emplace(file).open();
    {
        const std::lock_guard<std::mutex> lock(theSinkMutex);
        theSink = this;
    }
    // Not under the lock: liblog calls the sink while it holds one of its own.
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&LogSink::onLine);
}

LogSink::~LogSink() {
    const std::lock_guard<std::mutex> lock(theSinkMutex);
    theSink = nullptr;
}

void LogSink::setListener(Listener listener) {
    const std::lock_guard<std::mutex> lock(theSinkMutex);
    mListener = std::move(listener);
}

void LogSink::onLine(const __android_logger_data* data, const char* text) {
    if (isPaused) return;
    const std::lock_guard<std::mutex> lock(theSinkMutex);
    if (theSink == nullptr) return;
    theSink->take(parseLogLine(data->priority, data->tag == nullptr ? "" : data->tag, text), text);
}

void LogSink::take(const LogLine& line, const char* text) {
    if (isWantedAt(mLevel, line)) keep(line, text);
    if (line.tag == log::kDatabaseTag && line.priority >= ANDROID_LOG_ERROR) {
        mLastDatabaseError = line.message;
    }
    if (mListener) mListener(line);
}

std::string LogSink::lastDatabaseError() {
    const std::lock_guard<std::mutex> lock(theSinkMutex);
    return mLastDatabaseError;
}

void LogSink::keep(const LogLine& line, const char* text) {
    std::string out = timeStamp() + ' ' + priorityLetter(line.priority) + ' ' + text;
    if (out.back() != '\n') out += '\n';
    if (mFile) writeLine(*mFile, out);
    if (!mEcho) return;
    out = printable(out.substr(0, out.size() - 1)) + '\n';
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, out.data(), out.size());
}

LogPause::LogPause() {
    isPaused = true;
}

LogPause::~LogPause() {
    isPaused = false;
}

}  // namespace host
