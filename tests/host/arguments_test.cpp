// What a person typed, and what was meant.
#include <gtest/gtest.h>

#include "host/base/suggestion.h"

namespace host {
namespace {

TEST(SuggestionTest, MisspelledWordFindsTheOneMeantAndAForeignOneNone) {
    const std::vector<std::string> words{"learn", "erase", "show", "--launches", "--log-level"};
    const char* const cases[][2] = {
        {"lern", "learn"}, {"laern", "learn"}, {"--lanuches", "--launches"},
        {"shows", "show"}, {"easre", "erase"}, {"-log-levl", "--log-level"},
        {"replay", ""},    {"sh", ""},         {"", ""},
    };
    for (const auto& [typed, meant] : cases)
        EXPECT_EQ(closestTo(typed, words), meant) << typed;
}

}  // namespace
}  // namespace host
