// Runs the host's programs as a person would, and looks at what they leave.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// A folder of the test's own, removed with all that is in it.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::string operator/(const std::string& name) const { return mPath + '/' + name; }

private:
    std::string mPath;
};

/// A running program; killed if it still runs at the end.
class Program {
public:
    /// `words` is the program's file and its arguments; `settings` are added to
    /// the environment, as NAME=VALUE.
    explicit Program(const std::vector<std::string>& words,
                     const std::vector<std::string>& settings = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void signal(int number) const;

    /// Its exit code, 128 + N when signal N ended it.
    int wait();

    // After wait().
    std::string out() const;
    std::string err() const;

private:
    TempFolder mFolder;
    pid_t mPid = -1;
};

std::string contentOf(const std::string& path);

/// The number of processes whose command line begins with `name`.
int processesNamed(const std::string& name);

/// Waits until `isTrue` for as long as a loaded machine may need.
bool eventually(const std::function<bool()>& isTrue);
