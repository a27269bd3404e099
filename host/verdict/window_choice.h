// Which of the library's windows shows a launch settle, from what a probing
// launch of it shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/verdict/verdict.h"

namespace host {

enum class Window { kShort, kExtended, kLong };

/// "short", "extended", "long".
const char* windowName(Window window);

/// None for any other word.
std::optional<Window> windowNamed(std::string_view name);

/// That the library takes in it at most.
std::size_t samplesOf(Window window);

/// "the extended window (3 s)".
std::string windowText(Window window);

/// The option of `learn` that asks for it.
std::string windowOption(Window window);

/// What a probing launch showed, and what follows. Indices count samples from the
/// first.
struct WindowChoice {
    Window window = Window::kShort;
    SecondOpinion opinion;
    std::size_t seen = 0;  ///< samples

    /// From where it stays at its level, or does nothing but drift; none for a
    /// launch that came to neither.
    std::optional<std::size_t> settledAt() const {
        return opinion.settledAt ? opinion.settledAt : opinion.driftsFrom;
    }
};

/// The choice after these samples of memory, one a period; none while it is too
/// early to say. Where no more are to come, and after a minute, it is never too
/// early.
std::optional<WindowChoice> chooseWindow(const std::vector<std::int32_t>& memoryKb,
                                         bool isLast = false);

}  // namespace host
