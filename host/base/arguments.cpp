// The programs' arguments: our own ones apart from those of a command.
#include "host/base/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/base/suggestion.h"

namespace host {
namespace {

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

Arguments::Arguments(const std::vector<std::string>& program) {
    const auto first = program.begin() + (program.empty() ? 0 : 1);
    const auto mark = std::find(first, program.end(), "--");
    own.assign(first, mark);
    hasCommand = mark != program.end();
    if (hasCommand) command.assign(mark + 1, program.end());
}

std::optional<int> parse(CLI::App& app, const Arguments& arguments) {
    std::vector<std::string> reversed(arguments.own.rbegin(), arguments.own.rend());
    try {
        app.parse(std::move(reversed));
    } catch (const CLI::Success& answer) {
        std::ostringstream text;
        const int code = app.exit(answer, text, text);
        print(text.str());
        return code;
    } catch (const CLI::ExtrasError&) {
        throw HostError(kUsage, unknownWordFault(app));
    } catch (const CLI::ParseError& error) {
        throw HostError(kUsage, error.what() + helpOf(app, *calledIn(app)));
    }
    return std::nullopt;
}

}  // namespace host
