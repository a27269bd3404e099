// What a person typed, what was meant by it, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/suggestion.h"
#include "host/verbs/shared_options.h"
#include "tests/host/program.h"
#include "tests/host/refusal.h"

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

TEST(LaunchArgumentsTest, WindowComesByItsNameOrByTheNumbersOrIsProbedFor) {
    LaunchArguments arguments;
    EXPECT_FALSE(kindAskedFor(arguments));
    arguments.window = "auto";
    EXPECT_FALSE(kindAskedFor(arguments));
    arguments.window = "long";
    EXPECT_EQ(windowOf(*kindAskedFor(arguments)), Window::kLong);
    arguments.subtype = 2;
    EXPECT_THAT([&] { kindAskedFor(arguments); }, refuses(kUsage, testing::HasSubstr("or the")));
    arguments.window.clear();
    EXPECT_EQ(kindAskedFor(arguments)->subtype, 2);
    EXPECT_EQ(kindAskedFor(arguments)->type, 1);
}

// A shell under the package's name would be taken for what it starts.
TEST(LaunchArgumentsTest, CommandShowsThePackageUnlessItIsAShellOrKeepsItsName) {
    LaunchArguments arguments;
    arguments.settings.package = "com.a";
    const auto shown = [&](const char* program) {
        return commandLineOf(arguments, {program, "x"}).arguments;
    };
    EXPECT_THAT(shown("true"), testing::ElementsAre("com.a", "x"));
    EXPECT_THAT(shown("sh"), testing::ElementsAre("sh", "x"));
    arguments.keepName = true;
    EXPECT_THAT(shown("true"), testing::ElementsAre("true", "x"));
}

using ArgumentsTest = HostTest;

TEST_F(ArgumentsTest, WhatIsWrongIsSaidInOneLineWithWhatHelps) {
    const struct {
        Words words;
        const char* said;
    } cases[] = {
        {{"lern"}, "unknown verb 'lern'; did you mean 'learn'?"},
        {{"non\nsense"}, "unknown verb 'non?sense'; see orvo-host --help"},
        {{"show", "--jsn"}, "unknown option '--jsn'; did you mean '--json'?"},
        {{"show", "p", "--lasting=1"}, "unknown option '--lasting'; see orvo-host show --help"},
        {{"erase", "p", "show"}, "unexpected argument 'show'; see orvo-host erase --help"},
        {{"show", "--json", "--csv"}, "excludes"},
        {{"show", "p", "--", "true"}, "takes no COMMAND"},
        {{"erase", "p", "--", "true"}, "takes no COMMAND"},
        {{"watch", "--cost", "--", "true"}, "takes no COMMAND"},
        {{"learn", "p"}, "COMMAND is missing"},
        {{"measure", "p"}, "COMMAND is missing"},
        {{"learn", "", "--", "true"}, "PACKAGE is empty"},
        {{"learn", "p", "--label", "12", "--", "true"}, "the --label is a number"},
        {{"learn", "p", "--launches", "0", "--", "true"}, "--launches"},
        {{"learn", "p", "--type", "7", "--", "true"}, "launch type"},
        {{"learn", "p", "--window", "wide", "--", "true"}, "'wide' is not one of short"},
        {{"learn", "p", "--follow", "a\nb", "--", "true"}, "to --follow holds a control"},
        {{"learn", "p", "--stdin", "--tty", "--", "true"}, "give --stdin or --tty"},
        {{"watch", "--interval-ms", "4"}, "--interval-ms"},
        {{"join", "x", "--", "true"}, "must read like com.example.app"},
        {{"explain", "p", "--launch", "0"}, "--launch"},
    };
    for (const auto& [words, said] : cases) {
        EXPECT_EQ(host(words), kUsage) << words.back();
        EXPECT_THAT(mErr, testing::HasSubstr(said));
        EXPECT_EQ(std::count(mErr.begin(), mErr.end(), '\n'), 1) << mErr;
    }
    EXPECT_EQ(host({"show", "--help"}), kDone);
    EXPECT_THAT(mOut, testing::HasSubstr("--generations"));
    EXPECT_FALSE(std::filesystem::exists(mState)) << "a refusal has left something";
}

}  // namespace
}  // namespace host
