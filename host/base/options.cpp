// Describes to the parsing library what a program takes, and has it parsed.
#include "host/base/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/base/suggestion.h"

namespace host {
namespace {

class UsageFormatter : public CLI::Formatter {
public:
    explicit UsageFormatter(std::string usage) : mUsage(std::move(usage)) { column_width(28); }
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: " + mUsage + '\n';
    }
    // As man pages have it: "-v, --verbose".
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        std::string name = CLI::Formatter::make_option_name(option, isPositional);
        const std::size_t comma = name.find(',');
        return comma == std::string::npos ? name : name.insert(comma + 1, 1, ' ');
    }

private:
    const std::string mUsage;
};

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

// The verb that was given, or the program itself.
CLI::App* calledIn(CLI::App& app) {
    const std::vector<CLI::App*> verbs = app.get_subcommands();
    return verbs.empty() ? &app : verbs.front();
}

std::vector<std::string> optionsOf(CLI::App& called) {
    std::vector<std::string> names;
    for (const CLI::Option* option : called.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

std::vector<std::string> verbsOf(CLI::App& called) {
    std::vector<std::string> names;
    for (const CLI::App* verb : called.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(verb->get_name());
    return names;
}

std::string helpOf(CLI::App& app, CLI::App& called) {
    const std::string verb = &called == &app ? "" : called.get_name() + ' ';
    return "; see " + app.get_name() + ' ' + verb + "--help";
}

std::string quoted(const std::string& word) {
    return " '" + word + '\'';
}

// Of words that the parser has no place for, an option comes first: the others
// may be its value.
std::string unknownWordFault(CLI::App& app) {
    CLI::App& called = *calledIn(app);
    const std::string help = helpOf(app, called);
    const auto suggest = [&](const std::string& word, const std::vector<std::string>& known) {
        const std::string meant = closestTo(word, known);
        return quoted(word) + (meant.empty() ? help : "; did you mean" + quoted(meant) + '?');
    };
    const std::vector<std::string> words = app.remaining(true);
    if (words.empty()) return "wrong arguments" + help;
    const std::vector<std::string> verbs = verbsOf(called);
    if (!verbs.empty() && !isOption(words.front())) {
        return "unknown verb" + suggest(words.front(), verbs);
    }
    const auto option = std::find_if(words.begin(), words.end(), isOption);
    if (option == words.end()) return "unexpected argument" + quoted(words.front()) + help;
    return "unknown option" + suggest(option->substr(0, option->find('=')), optionsOf(called));
}

}  // namespace

Option& Option::isRequired() {
    mOption->required();
    return *this;
}

Option& Option::named(const std::string& value) {
    mOption->type_name(value);
    return *this;
}

Option& Option::under(const std::string& headline) {
    mOption->group(headline);
    return *this;
}

Option& Option::from(int low, int high) {
    mOption->check(CLI::Range(low, high));
    return *this;
}

Option& Option::from(double low, double high) {
    // "nan" is in any range, being neither below nor above it.
    const auto isNumber = [](const std::string& text) {
        return std::isnan(std::strtod(text.c_str(), nullptr)) ? text + " is not a number" : "";
    };
    mOption->check(CLI::Range(low, high))->check(isNumber);
    return *this;
}

Option& Option::isPositive() {
    mOption->check(CLI::PositiveNumber);
    return *this;
}

Option& Option::isOneOf(const std::vector<std::string>& words) {
    mOption->check(CLI::IsMember(words));
    return *this;
}

Option& Option::isRepeated() {
    mOption->allow_extra_args(false);
    return *this;
}

Option& Option::excludes(const Option& other) {
    mOption->excludes(other.mOption);
    return *this;
}

template <typename Value>
Option Options::option(const std::string& name, Value& value, const std::string& help) {
    return Option(mApp->add_option(name, value, help));
}

template Option Options::option(const std::string&, std::string&, const std::string&);
template Option Options::option(const std::string&, std::vector<std::string>&, const std::string&);
template Option Options::option(const std::string&, std::int32_t&, const std::string&);
template Option Options::option(const std::string&, std::uint32_t&, const std::string&);
template Option Options::option(const std::string&, std::int64_t&, const std::string&);
template Option Options::option(const std::string&, std::size_t&, const std::string&);
template Option Options::option(const std::string&, double&, const std::string&);
template Option Options::option(const std::string&, std::optional<std::int32_t>&,
                                const std::string&);
template Option Options::option(const std::string&, std::optional<double>&, const std::string&);
template Option Options::option(const std::string&, std::optional<std::string>&,
                                const std::string&);

Option Options::flag(const std::string& name, bool& value, const std::string& help) {
    return Option(mApp->add_flag(name, value, help));
}

void Options::setUsage(const std::string& line) {
    mApp->formatter(std::make_shared<UsageFormatter>(line));
}

void Options::setFooter(const std::string& text) {
    mApp->footer(text);
}

void Options::whenCalled(const std::function<void()>& call) {
    mApp->callback(call);
}

Program::Program(const std::string& name, const std::string& description)
    : Options(new CLI::App(description, name)), mOwned(mApp) {}

Program::~Program() = default;

void Program::setVersion(const std::function<std::string()>& version) {
    mApp->set_version_flag("--version", version);
}

Options Program::verb(const std::string& name, const std::string& description) {
    mApp->require_subcommand(0, 1);  // a second verb, named after the first, would run in its place
    return Options(mApp->add_subcommand(name, description)->group("Verbs"));
}

std::optional<int> Program::parse(const Arguments& arguments) {
    std::vector<std::string> reversed(arguments.own.rbegin(), arguments.own.rend());
    try {
        mApp->parse(std::move(reversed));
    } catch (const CLI::Success& answer) {
        std::ostringstream text;
        const int code = mApp->exit(answer, text, text);
        print(text.str());
        return code;
    } catch (const CLI::ExtrasError&) {
        throw HostError(kUsage, unknownWordFault(*mApp));
    } catch (const CLI::ParseError& error) {
        throw HostError(kUsage, error.what() + helpOf(*mApp, *calledIn(*mApp)));
    }
    return std::nullopt;
}

std::optional<int> Program::parseWithoutCommand(const std::vector<std::string>& argv) {
    const Arguments arguments(argv);
    const std::optional<int> answered = parse(arguments);
    if (!answered && arguments.hasCommand)
        throw HostError(kUsage, "this program takes no COMMAND after --" + helpOf(*mApp, *mApp));
    return answered;
}

}  // namespace host
