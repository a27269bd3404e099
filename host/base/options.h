// What a program or a verb takes, apart from the library that parses it: its header
// alone takes as long to compile as most of what would include it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/arguments.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace host {

/// What more there is to say of one option.
class Option {
public:
    explicit Option(CLI::Option* option) : mOption(option) {}

    Option& isRequired();
    Option& named(const std::string& value);     ///< in the help: "--launch N"
    Option& under(const std::string& headline);  ///< of the help
    Option& from(int low, int high);
    Option& from(double low, double high);
    Option& isPositive();
    Option& isOneOf(const std::vector<std::string>& words);
    Option& isRepeated();  ///< takes a value each time that it is given
    Option& excludes(const Option& other);

private:
    CLI::Option* mOption;
};

/// The options and arguments of a program, or of one of its verbs. A verb's must not be
/// used once its program is gone.
class Options {
public:
    explicit Options(CLI::App* app) : mApp(app) {}

    /// For names like "--launch" or, of an argument, "PACKAGE". The value, a string
    /// or a number, must be there when the program's arguments are parsed.
    template <typename Value>
    Option option(const std::string& name, Value& value, const std::string& help);
    Option flag(const std::string& name, bool& value, const std::string& help);

    /// The usage line says where COMMAND goes, which the parser does not know.
    void setUsage(const std::string& line);
    void setFooter(const std::string& text);

    /// Called while parsing, if the verb was given.
    void whenCalled(const std::function<void()>& call);

protected:
    CLI::App* const mApp;
};

class Program : public Options {
public:
    Program(const std::string& name, const std::string& description);
    ~Program();

    void setVersion(const std::function<std::string()>& version);

    /// At most one verb may be given.
    Options verb(const std::string& name, const std::string& description);

    /// Parses `arguments.own`. Returns an exit code when the answer (help, version) has been
    /// printed. Throws HostError, kUsage.
    std::optional<int> parse(const Arguments& arguments);

    /// The same for a program that takes no COMMAND. `argv` includes the program's name.
    std::optional<int> parseWithoutCommand(const std::vector<std::string>& argv);

private:
    const std::unique_ptr<CLI::App> mOwned;
};

}  // namespace host
