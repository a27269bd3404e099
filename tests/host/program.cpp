// Runs the host's programs as a person would.
#include "tests/host/program.h"

#include <chrono>
#include <fcntl.h>
#include <thread>

#include "host/process/child_process.h"
#include "host/process/command.h"
#include "host/process/process_tree.h"

Program::Program(const Words& words, const Words& settings) {
    mPid = fork();
    if (mPid != 0) return;
    host::resetSignals({SIGINT});  // which is ignored in the background
    for (const std::string& setting : settings)
        putenv(const_cast<char*>(setting.c_str()));
    dup2(open((mFolder / "out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    dup2(open((mFolder / "err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    Words arguments = words;
    execv(words[0].c_str(), host::pointersTo(arguments).data());
    _exit(99);
}

Program::~Program() {
    if (mPid < 0) return;
    signal(SIGKILL);
    wait();
}

void Program::signal(int number) const {
    kill(mPid, number);
}

int Program::wait() {
    int status = 0;
    waitpid(mPid, &status, 0);
    mPid = -1;
    return host::exitCodeOf(status);
}

bool eventually(const std::function<bool()>& isTrue) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

Words HostTest::hostWords(Words words) const {
    words.insert(words.begin(), ORVO_HOST);
    words.insert(words.begin() + 2, {"--state", mState});
    return words;
}

int HostTest::host(const Words& words, const Words& settings) {
    Program program(hostWords(words), settings);
    const int code = program.wait();
    mOut = program.out();
    mErr = program.err();
    return code;
}

int processesNamed(const std::string& name) {
    int count = 0;
    for (const pid_t process : host::numbersIn("/proc"))
        count += host::shownName(process) == name ? 1 : 0;
    return count;
}
