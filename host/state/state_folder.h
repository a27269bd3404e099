// The folder in which the host keeps everything that outlives a run.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

class StateFolder {
public:
    /// $XDG_STATE_HOME/orvo, or ~/.local/state/orvo without that variable.
    /// Throws HostError when there is no home either.
    static std::string defaultPath();

    /// Creates nothing yet.
    explicit StateFolder(const std::string& path);

    /// Throws HostError when it is not there, though a person gave it.
    void refuseIfMissing() const;

    /// Throws HostError when somebody else could put links in the way of what is
    /// written there: when it belongs to another user than this one or root, or
    /// everybody may write in it.
    void refuseIfForeign() const;

    /// Creates what is missing, for this user alone. Throws HostError when it
    /// cannot be written or is foreign.
    void create() const;

    /// Removes the property by which the library writes dumps, for the host writes
    /// them itself; the file's other lines stay. Throws HostError.
    void removeDumpProperty() const;

    std::string path() const { return mPath; }
    std::string database() const { return mPath / "orvo.db"; }
    std::string properties() const { return mPath / "properties"; }
    std::string dumps() const { return mPath / "dumps"; }
    std::string log() const { return mPath / "orvo.log"; }
    /// One line of JSON a launch.
    std::string history() const { return mPath / "history.jsonl"; }
    /// One line of JSON a generation.
    std::string generations() const { return mPath / "generations.jsonl"; }
    /// Held by the process that watches.
    std::string watchLock() const { return mPath / "watch.lock"; }
    /// Held, one byte a package, by the processes that learn or erase.
    std::string packageLocks() const { return mPath / "packages.lock"; }
    /// What the launched commands print; the N-th for the N-th learn at a time.
    std::string commandOutput(int n) const {
        return mPath / (n == 1 ? "command.log" : "command." + std::to_string(n) + ".log");
    }

private:
    std::filesystem::path mPath;
};

/// `text`, lines of name=value, without those of `name`.
std::string withoutProperty(std::string_view text, std::string_view name);

}  // namespace host
