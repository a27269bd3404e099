// The exit codes of the host's programs, and the error that carries one.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

enum ExitCode : int {
    kDone = 0,
    kNotLearned = 1,
    kUsage = 2,
    kEnvironment = 3,
    kDoubted = 4,
    kSlower = 5,
    kCannotRun = 126,
    kNotFound = 127,
    kInterrupted = 130,
};

/// The table shown by --help.
constexpr const char* kExitCodeHelp =
    "Exit codes:\n"
    "  0    done; of learn: learned, or all launches asked for are stored\n"
    "  1    not learned, nothing known of PACKAGE, nobody watches, a replay that\n"
    "       differs, a run that was not made, no run with an endpoint, or too little\n"
    "       to compare\n"
    "  2    wrong usage, or a file that is not what it should be\n"
    "  3    the environment or the store does not work\n"
    "  4    of --strict: done, but what was learned, measured or compared is doubted\n"
    "  5    of --fail-if-slower: slower by more than that\n"
    "  126  COMMAND cannot be run\n"
    "  127  COMMAND is not found\n"
    "  130  interrupted\n";

/// An error that ends the program: one line that names what to do, and the code.
class HostError : public std::runtime_error {
public:
    HostError(ExitCode code, const std::string& message)
        : std::runtime_error(message), mCode(code) {}
    ExitCode code() const { return mCode; }

private:
    ExitCode mCode;
};

}  // namespace host
