// Which mounts make a root that is the machine's own plus some paths.
#include "host/root/device_root_mounts.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace host {
namespace {

namespace fs = std::filesystem;

class Mirror {
public:
    Mirror(const std::string& realRoot, const std::vector<Graft>& grafts)
        : mRealRoot(realRoot),
          mSeenRoot(realRoot.empty() ? "/proc/self/root" : realRoot),
          mGrafts(grafts) {}

    // `folder` without a slash at its end; "" is the root.
    void showEntriesOf(const std::string& folder) {
        std::set<std::string> paths;  // sorted, for arguments that do not vary
        std::error_code error;
        for (const fs::directory_entry& entry :
             fs::directory_iterator(mSeenRoot + folder + '/', error)) {
            paths.insert(folder + '/' + entry.path().filename().string());
        }
        for (const std::string& path : paths)
            show(path);
    }

    std::vector<std::string> take() { return std::move(mArguments); }

private:
    void show(const std::string& path) {
        if (isGraft(path)) return;
        if (leadsToGraft(path)) {
            add({"--dir", path});
            showEntriesOf(path);
        } else if (fs::is_symlink(mSeenRoot + path)) {
            add({"--symlink", fs::read_symlink(mSeenRoot + path).string(), path});
        } else {
            // An entry may go while we look, such as a device's.
            add({"--dev-bind-try", mRealRoot + path, path});
        }
    }

    bool isGraft(const std::string& path) const {
        return std::any_of(mGrafts.begin(), mGrafts.end(),
                           [&](const Graft& graft) { return graft.path == path; });
    }

    bool leadsToGraft(const std::string& path) const {
        return std::any_of(mGrafts.begin(), mGrafts.end(), [&](const Graft& graft) {
            return graft.path.compare(0, path.size() + 1, path + '/') == 0;
        });
    }

    void add(const std::vector<std::string>& arguments) {
        mArguments.insert(mArguments.end(), arguments.begin(), arguments.end());
    }

    const std::string& mRealRoot;
    // Where it is looked at: under an emulator "/" itself may be another folder.
    std::string mSeenRoot;
    const std::vector<Graft>& mGrafts;
    std::vector<std::string> mArguments;
};

}  // namespace

std::vector<std::string> mirrorArguments(const std::string& realRoot,
                                         const std::vector<Graft>& grafts) {
    Mirror mirror(realRoot, grafts);
    mirror.showEntriesOf("");
    std::vector<std::string> arguments = mirror.take();
    for (const Graft& graft : grafts) {
        arguments.insert(arguments.end(), graft.arguments.begin(), graft.arguments.end());
    }
    return arguments;
}

}  // namespace host
