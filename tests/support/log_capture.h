// Takes the log lines of the process, one capture at a time.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct LogLine {
    int priority;
    std::string tag;
    std::string function;  ///< the function argument
    int line;              ///< the line argument
    std::string text;      ///< what follows them
};

/// Captures from construction to destruction; any thread may log meanwhile.
class LogCapture {
public:
    /// Sets the framework's log level too.
    explicit LogCapture(unsigned level = 0);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> texts() const;
    std::string take();                        ///< The texts so far, joined by "; ".
    int count(const std::string& text) const;  ///< Lines that contain `text`.

    /// Called with each line, on the thread that logs it.
    std::function<void(const LogLine&)> onLine;

    /// The same for every line of the process, first.
    inline static std::function<void(const LogLine&)> mOnAnyLine;
};
