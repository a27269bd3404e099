// The capture, through Android's own hook.
#include "tests/support/log_capture.h"

#include <algorithm>
#include <android/log.h>
#include <mutex>
#include <regex>

#include "platform/tavo_log.h"
#include "tests/support/allocation_faults.h"

namespace {

std::mutex mutex;
std::vector<LogLine> captured;
LogCapture* capture = nullptr;

// "tag: function() line: text"; anything else leaves the function empty.
LogLine parsed(int priority, const std::string& tag, const std::string& message) {
    const std::string prefix = tag + ": ";
    const std::size_t parens = message.find("() ");
    const std::size_t colon = message.find(": ", parens);
    if (message.compare(0, prefix.size(), prefix) != 0 || colon == std::string::npos) {
        return {priority, tag, "", 0, message};
    }
    return {priority, tag, message.substr(prefix.size(), parens - prefix.size()),
            std::stoi(message.substr(parens + 3)), message.substr(colon + 2)};
}

void take(const __android_logger_data* data, const char* message) {
    const AllocationFaults::Pause pause;
    const LogLine line = parsed(data->priority, data->tag, message);
    std::function<void(const LogLine&)> onLine;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (capture == nullptr) return;
        captured.push_back(line);
        onLine = capture->onLine;
    }
    if (onLine) onLine(line);
}

}  // namespace

LogCapture::LogCapture(unsigned level) {
    clear();
    setTavoLogLevel(level);
    capture = this;
    __android_log_set_logger(take);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

LogCapture::~LogCapture() {
    const std::lock_guard<std::mutex> lock(mutex);
    capture = nullptr;
    setTavoLogLevel(0);
}

std::vector<LogLine> LogCapture::lines() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return captured;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> result;
    for (const LogLine& line : lines())
        result.push_back(line.text);
    return result;
}

int LogCapture::count(const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const LogLine& line) {
        return line.text.find(text) != std::string::npos;
    }));
}

void LogCapture::clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    captured.clear();
}
