// A verb's options and arguments, apart from the library that parses them: its
// header alone would take half of each verb's compile time.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace host {

struct Invocation;

/// What more there is to say of one option.
class VerbOption {
public:
    explicit VerbOption(CLI::Option* option) : mOption(option) {}

    VerbOption& isRequired();
    VerbOption& named(const std::string& value);  ///< in the help: "--launch N"
    VerbOption& from(int low, int high);
    VerbOption& from(double low, double high);
    VerbOption& isPositive();
    VerbOption& isOneOf(const std::vector<std::string>& words);
    VerbOption& isRepeated();  ///< takes a value each time that it is given
    VerbOption& excludes(const VerbOption& other);

private:
    CLI::Option* mOption;
};

class Verb {
public:
    /// Adds a verb with the common options and a usage line of its own. Both must
    /// outlive it.
    Verb(CLI::App& app, Invocation& invocation, const std::string& name,
         const std::string& description, const std::string& usage);

    /// For names like "--launch" or, of an argument, "PACKAGE". The value, a string
    /// or a number, must live as long as the verb.
    template <typename Value>
    VerbOption option(const std::string& name, Value& value, const std::string& help);
    VerbOption flag(const std::string& name, bool& value, const std::string& help);

    /// What it does when it was called; returns the exit code.
    void runs(const std::function<int()>& run);

private:
    CLI::App* mVerb;
    Invocation& mInvocation;
};

}  // namespace host
