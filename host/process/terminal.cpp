// The terminal, lent to a command and taken back.
#include "host/process/terminal.h"

#include <cerrno>
#include <csignal>

#include "host/base/exit_code.h"

namespace host {
namespace {

UniqueFd openTerminal() {
    return UniqueFd(open("/dev/tty", O_RDWR | O_CLOEXEC));
}

// The kernel stops a background group for this, unless SIGTTOU is ignored.
void makeForeground(int terminal, pid_t group) {
    std::signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(terminal, group);
}

}  // namespace

void requireTerminal() {
    const UniqueFd file = openTerminal();
    if (file.isOpen() && tcgetpgrp(file.get()) == getpgrp()) return;
    throw HostError(kUsage,
                    std::string("--tty: ") +
                        (file.isOpen() ? "the terminal is another's" : "there is no terminal") +
                        "; run it in the foreground of one, or give --stdin");
}

Terminal::Terminal() : mFile(openTerminal()) {
    if (!mFile.isOpen() || tcgetattr(mFile.get(), &mSettings) != 0) requireTerminal();
    std::signal(SIGTSTP, SIG_IGN);  // nobody would be there to go on
    // The group that we were started in has no number in a process namespace of
    // our own, so that the terminal could not be taken back for it.
    if (getpgrp() == 0 && setpgid(0, 0) == 0) makeForeground(mFile.get(), getpgrp());
}

Terminal::~Terminal() {
    takeBack();
}

void Terminal::giveTo(pid_t group) {
    makeForeground(mFile.get(), group);
    mIsLent = true;
}

void Terminal::takeBack() {
    if (!mIsLent) return;
    makeForeground(mFile.get(), getpgrp());
    tcsetattr(mFile.get(), TCSADRAIN, &mSettings);
    mIsLent = false;
}

TerminalReturn::TerminalReturn() : mFile(openTerminal()) {
    if (mFile.isOpen() && tcgetpgrp(mFile.get()) != getpgrp()) mFile.reset();
}

TerminalReturn::~TerminalReturn() {
    if (!mFile.isOpen()) return;
    const pid_t group = tcgetpgrp(mFile.get());
    const bool hasEnded = group > 0 && kill(-group, 0) != 0 && errno == ESRCH;
    if (hasEnded) makeForeground(mFile.get(), getpgrp());
}

}  // namespace host
