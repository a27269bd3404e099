// Which mounts make a root that is the machine's own plus some paths.
#include "host/root/device_root_mounts.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "host/base/prefix.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Where the root is looked at: under an emulator "/" itself may be another folder.
const std::string kSeenRoot = "/proc/self/root";

class Mirror {
public:
    explicit Mirror(const std::vector<Graft>& grafts) : mGrafts(grafts) {}

    // `folder` without a slash at its end; "" is the root.
    void showEntriesOf(const std::string& folder) {
        std::set<std::string> paths;  // sorted, for arguments that do not vary
        std::error_code error;
        for (const fs::directory_entry& entry :
             fs::directory_iterator(kSeenRoot + folder + '/', error)) {
            paths.insert(folder + '/' + entry.path().filename().string());
        }
        for (const std::string& path : paths)
            show(path);
    }

    std::vector<std::string> take() { return std::move(mArguments); }

private:
    void show(const std::string& path) {
        if (isGraft(path)) return;
        std::error_code notALink;  // or an entry that went while we look, such as a device's
        const fs::path target = fs::read_symlink(kSeenRoot + path, notALink);
        if (leadsToGraft(path)) {
            add({"--dir", path});
            showEntriesOf(path);
        } else if (!notALink) {
            add({"--symlink", target.string(), path});
        } else {
            add({"--dev-bind-try", path, path});
        }
    }

    bool isGraft(const std::string& path) const {
        return std::any_of(mGrafts.begin(), mGrafts.end(),
                           [&](const Graft& graft) { return graft.path == path; });
    }

    bool leadsToGraft(const std::string& path) const {
        return std::any_of(mGrafts.begin(), mGrafts.end(),
                           [&](const Graft& graft) { return startsWith(graft.path, path + '/'); });
    }

    void add(const std::vector<std::string>& arguments) {
        mArguments.insert(mArguments.end(), arguments.begin(), arguments.end());
    }

    const std::vector<Graft>& mGrafts;
    std::vector<std::string> mArguments;
};

}  // namespace

std::vector<std::string> mirrorArguments(const std::vector<Graft>& grafts) {
    Mirror mirror(grafts);
    mirror.showEntriesOf("");
    std::vector<std::string> arguments = mirror.take();
    for (const Graft& graft : grafts) {
        arguments.insert(arguments.end(), graft.arguments.begin(), graft.arguments.end());
    }
    return arguments;
}

}  // namespace host
