// Runs the host's programs as a person would, and looks at what they leave.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

#include "tests/framework/temp_folder.h"

using Words = std::vector<std::string>;

/// A running program; killed if it still runs at the end.
class Program {
public:
    /// `words` is the program's file and its arguments; `settings` are added to
    /// the environment, as NAME=VALUE.
    explicit Program(const Words& words, const Words& settings = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return mPid; }
    void signal(int number) const;

    /// Its exit code, 128 + N when signal N ended it.
    int wait();

    /// What it has written so far.
    std::string out() const { return contentOf(mFolder / "out"); }
    std::string err() const { return contentOf(mFolder / "err"); }

private:
    TempFolder mFolder;
    pid_t mPid = -1;
};

/// Waits until `isTrue` for as long as a loaded machine may need.
bool eventually(const std::function<bool()>& isTrue);

/// orvo-host on a state folder and a package of the test's own.
class HostTest : public testing::Test {
protected:
    /// VERB and what follows it, with the program before and the folder in between.
    Words hostWords(Words words) const;

    /// Runs orvo-host to its end; returns its code, and what it said in mOut and mErr.
    int host(const Words& words, const Words& settings = {});

    const TempFolder mFolder;
    const std::string mState = mFolder / "state";
    const std::string mPackage = "com.test.p" + std::to_string(getpid());
    std::string mOut;
    std::string mErr;
};

/// The number of processes whose command line begins with `name`.
int processesNamed(const std::string& name);
