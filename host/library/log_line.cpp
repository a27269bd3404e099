// One line of the library's log, taken apart.
#include "host/library/log_line.h"

#include <algorithm>
#include <android/log.h>
#include <charconv>

#include "host/library/log_messages.h"

namespace host {
namespace {

constexpr std::uint32_t kLaunchTakenLevel = 2;
constexpr std::uint32_t kMilestoneLevel = 3;
constexpr std::uint32_t kDetailLevel = 4;

// What the library writes at its milestones' level although it comes with every
// data point or look, and would be nearly all of a log: functions whose debug
// lines do so, and messages.
constexpr std::string_view kDetailFunctions[] = {log::kAgeFunction, log::kRankFunction,
                                                 log::kYoungestFunction, log::kDumpFunction};
constexpr std::string_view kFrequentMessages[] = {log::kFdCount, log::kHuntingOn};

// Debug lines of the learner and the entry functions that are details to the
// library too.
constexpr std::string_view kDetailMessages[] = {
    log::kWaiting,  log::kScoreRead, log::kMemory,      log::kStoredSample, log::kWakingThread,
    log::kStopping, log::kErased,    log::kCountsTaken, log::kSampleAsked,
};

std::uint32_t gateOf(const LogLine& line) {
    if (line.priority >= ANDROID_LOG_ERROR) return 0;
    if (line.tag == log::kStoreTag) return kDetailLevel;
    if (startsWith(line.message, log::kTaken)) return kLaunchTakenLevel;
    const auto isSaidHere = [&](std::string_view start) { return startsWith(line.message, start); };
    const bool isDetail =
        std::any_of(std::begin(kDetailMessages), std::end(kDetailMessages), isSaidHere) ||
        std::any_of(std::begin(kFrequentMessages), std::end(kFrequentMessages), isSaidHere) ||
        std::find(std::begin(kDetailFunctions), std::end(kDetailFunctions), line.function) !=
            std::end(kDetailFunctions);
    return isDetail ? kDetailLevel : kMilestoneLevel;
}

}  // namespace

std::int32_t integerAfterLast(std::string_view text, std::string_view mark) {
    const std::size_t at = text.rfind(mark);
    if (at == std::string_view::npos) return 0;
    std::int32_t value = 0;
    std::from_chars(text.data() + at + mark.size(), text.data() + text.size(), value);
    return value;
}

LogLine parseLogLine(int priority, std::string_view tag, std::string_view text) {
    while (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    LogLine line{priority, tag, {}, text};
    if (!startsWith(text, tag) || !startsWith(text.substr(tag.size()), ": ")) return line;

    const std::string_view rest = text.substr(tag.size() + 2);
    const std::size_t functionEnd = rest.find("() ");
    if (functionEnd == std::string_view::npos) return line;
    const std::size_t numberStart = functionEnd + 3;
    const std::size_t numberEnd = rest.find_first_not_of("0123456789", numberStart);
    if (numberEnd == std::string_view::npos || numberEnd == numberStart) return line;
    if (!startsWith(rest.substr(numberEnd), ": ")) return line;

    line.function = rest.substr(0, functionEnd);
    line.message = rest.substr(numberEnd + 2);
    return line;
}

bool isWantedAt(std::uint32_t level, const LogLine& line) {
    return level >= gateOf(line);
}

}  // namespace host
