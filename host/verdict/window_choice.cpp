// How long to look at a probing launch, and the window that follows from it.
#include "host/verdict/window_choice.h"

#include <algorithm>
#include <array>

namespace host {
namespace {

struct WindowTraits {
    const char* name;
    std::size_t samples;
    const char* time;
};

// In the order of the windows.
constexpr std::array<WindowTraits, 3> kWindows{{
    {"short", kShortWindow, "1 s"},
    {"extended", kExtendedWindow, "3 s"},
    {"long", kLongWindow, "up to 60 s"},
}};

const WindowTraits& traitsOf(Window window) {
    return kWindows.at(static_cast<std::size_t>(window));
}

// A launch settles later the next time, on a busy machine by half. The short
// window leaves that much, for the extended one costs seconds; a long one costs
// minutes, so that the extended one leaves a fifth.
constexpr double kShortVariation = 1.5;
constexpr double kExtendedVariation = 1.2;

// Who chooses the short window says that the extended one would show no more.
constexpr std::size_t kLeastSeen = kExtendedWindow;

// A launch that is level from the first look on leaves nothing to learn, unless
// it begins later: worth the extended window and as long again.
constexpr std::size_t kLeastSeenLevel = 2 * kExtendedWindow;

// A program that has rested may go on after the next rest, but rarely after one
// twice as long, or as long as all that came before.
constexpr std::size_t kRests = 2;

bool isConvincing(const SecondOpinion& opinion, std::size_t seen) {
    if (!opinion.settledAt) return false;
    const std::size_t quiet = seen - *opinion.settledAt;
    return seen >= (*opinion.settledAt == 0 ? kLeastSeenLevel : kLeastSeen) &&
           quiet >= *opinion.settledAt && quiet >= kRests * opinion.longestRest;
}

// The shortest window in which a launch that settles there, after rests of at most
// that length, settles each time.
//
// The analysis takes the level that is held longest for the last: in the window
// the last one must be held for longer than any before, and for a run at least.
Window windowFor(std::size_t settledAt, std::size_t longestRest) {
    const auto settled = static_cast<double>(settledAt);
    const auto rest = static_cast<double>(std::max(kShortStreak, longestRest + 1));
    if (kShortVariation * settled + rest <= kShortWindow) return Window::kShort;
    if (kExtendedVariation * settled + rest <= kExtendedWindow) return Window::kExtended;
    return Window::kLong;
}

}  // namespace

const char* windowName(Window window) {
    return traitsOf(window).name;
}

std::size_t samplesOf(Window window) {
    return traitsOf(window).samples;
}

std::optional<Window> windowNamed(std::string_view name) {
    for (const Window window : {Window::kShort, Window::kExtended, Window::kLong}) {
        if (name == windowName(window)) return window;
    }
    return std::nullopt;
}

std::string windowText(Window window) {
    return std::string("the ") + windowName(window) + " window (" + traitsOf(window).time + ')';
}

std::string windowOption(Window window) {
    return std::string("--window ") + windowName(window);
}

std::optional<WindowChoice> chooseWindow(const std::vector<std::int32_t>& memoryKb, bool isLast) {
    const std::size_t seen = memoryKb.size();
    const bool isOver = isLast || seen >= kLongWindow;
    if (seen < kLeastSeen && !isOver) return {};
    const std::size_t streak = seen > 2 * kExtendedWindow ? kLongStreak : kShortStreak;
    WindowChoice choice{Window::kShort, secondOpinion(memoryKb, streak), seen};
    if (!isConvincing(choice.opinion, seen) && !isOver) return {};
    if (choice.settledAt()) {
        choice.window = windowFor(*choice.settledAt(), choice.opinion.longestRest);
    } else if (seen >= kLongWindow) {
        choice.window = Window::kLong;  // where it may yet settle the next time
    }
    return choice;
}

}  // namespace host
