// Runs the host's programs as a person would.
#include "tests/host/program.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

TempFolder::TempFolder() : mPath(testing::TempDir() + "orvo-XXXXXX") {
    if (mkdtemp(mPath.data()) == nullptr) std::abort();
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

Program::Program(const std::vector<std::string>& words, const std::vector<std::string>& settings) {
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    mPid = fork();
    if (mPid != 0) return;
    for (const std::string& setting : settings)
        putenv(const_cast<char*>(setting.c_str()));
    dup2(open((mFolder / "out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    dup2(open((mFolder / "err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    execv(arguments[0], arguments.data());
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
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string Program::out() const {
    return contentOf(mFolder / "out");
}

std::string Program::err() const {
    return contentOf(mFolder / "err");
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

int processesNamed(const std::string& name) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        const std::string commandLine = contentOf(entry.path() / "cmdline");
        count += commandLine.compare(0, name.size() + 1, name + '\0') == 0 ? 1 : 0;
    }
    return count;
}

bool eventually(const std::function<bool()>& isTrue) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}
