// The capture, through Android's own hook.
#include "tests/support/log_capture.h"

#include <android/log.h>
#include <mutex>

#include "platform/tavo_log.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/joined.h"

namespace {

using Lock = std::lock_guard<std::mutex>;

std::mutex linesMutex;
std::vector<LogLine> captured;
LogCapture* capture = nullptr;

// "tag: function() line: text"; anything else leaves the function empty.
LogLine parsed(int priority, const std::string& tag, const std::string& message) {
    const std::size_t function = tag.size() + 2;
    const std::size_t parens = message.find("() ");
    const std::size_t colon = message.find(": ", parens);
    if (message.compare(0, function, tag + ": ") != 0 || colon == std::string::npos) {
        return {priority, tag, "", 0, message};
    }
    return {priority, tag, message.substr(function, parens - function),
            std::stoi(message.substr(parens + 3)), message.substr(colon + 2)};
}

void takeLine(const __android_logger_data* data, const char* message) {
    const allocation_faults::Pause pause;
    const Lock lock(linesMutex);
    if (capture == nullptr) return;
    captured.push_back(parsed(data->priority, data->tag, message));
    if (LogCapture::mOnAnyLine) LogCapture::mOnAnyLine(captured.back());
    if (capture->onLine) capture->onLine(captured.back());
}

}  // namespace

LogCapture::LogCapture(unsigned level) {
    captured.clear();
    setTavoLogLevel(level);
    capture = this;
    __android_log_set_logger(takeLine);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

LogCapture::~LogCapture() {
    const Lock lock(linesMutex);
    capture = nullptr;
    setTavoLogLevel(0);
}

std::vector<std::string> LogCapture::texts() const {
    const Lock lock(linesMutex);
    std::vector<std::string> result;
    for (const LogLine& line : captured)
        result.push_back(line.text);
    return result;
}

std::string LogCapture::take() {
    std::string result = joined(texts());
    const Lock lock(linesMutex);
    captured.clear();
    return result;
}

int LogCapture::count(const std::string& text) const {
    int result = 0;
    for (const std::string& line : texts())
        result += line.find(text) != std::string::npos ? 1 : 0;
    return result;
}
