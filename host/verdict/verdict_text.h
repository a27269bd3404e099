// A verdict in words: for JSON, for a person, and as an option to paste.
#pragma once

#include <optional>
#include <string>

#include "host/verdict/verdict.h"

namespace host {

/// "growing", "at_rest" and so on: kept in JSON, CSV and histories, so no word
/// changes its meaning.
const char* doubtWord(Doubt doubt);

/// The word as a person reads it, "decided at a rest"; one that is not known here
/// is left as it is.
std::string doubtName(const std::string& word);

/// All names of a verdict's doubts, "still growing, noisy"; empty when settled.
std::string doubtNames(const Verdict& verdict);

/// One sentence with the figures, in times from the endpoint or of the end, so
/// that it holds whatever the reader's times count from.
std::string doubtSentence(Doubt doubt, const SeenLaunch& launch, const Verdict& verdict);

/// One after the other, "; " between them.
std::string doubtSentences(const SeenLaunch& launch, const Verdict& verdict);

/// The option of `learn` whose window shows more, such as "--window long"; none where
/// a longer window would not help or there is none.
std::optional<std::string> remedyOption(const SeenLaunch& launch, const Verdict& verdict);

/// What to do about a doubted launch, the option included; may be empty.
std::string remedyText(const SeenLaunch& launch, const Verdict& verdict);

}  // namespace host
