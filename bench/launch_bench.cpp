// A launch event from call to return, store included, beside the same SQL by
// hand and beside the least that a durable write can cost.
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "bench/child.h"
#include "bench/raw_store.h"
#include "bench/topics.h"
#include "feature/orvo.h"
#include "framework/tavodb/schema.h"
#include "host/root/scratch_folder.h"

namespace {

// Enough that no package comes to its 500th event.
constexpr std::size_t kPackages = 1000;
constexpr AppStatus kCountedOnce{0, {}, 1};

// The log is overwritten from its start once it is as long as this many pages;
// until then each write also makes the file longer, which costs more.
constexpr int kWritesUntilLogIsReused = 1100;

class PackageCycle {
public:
    std::string& next() { return mNames[mNext++ % mNames.size()]; }
    const std::vector<std::string>& names() const { return mNames; }

private:
    std::vector<std::string> mNames = packageNames(kPackages);
    std::size_t mNext = 0;
};

// The read and the write of a launch event, on held statements.
class RawLaunchEvents {
public:
    explicit RawLaunchEvents(RawStore& store)
        : mSelect(store.handle(), tavodb::selectSql("OrvoStatus")),
          mUpdate(store.handle(), tavodb::writeSql("OrvoStatus", DB_OP_UPDATE)) {}

    bool count(const std::string& name) {
        AppStatus status;
        mSelect.bind(1, name);
        if (!mSelect.read(&status, sizeof(status))) return false;
        ++status.launchCount;
        mUpdate.bind(1, name);
        mUpdate.bind(2, &status, sizeof(status));
        return mUpdate.write();
    }

private:
    RawStatement mSelect;
    RawStatement mUpdate;
};

// A file of one page, overwritten in place.
class Page {
public:
    explicit Page(const std::string& path)
        : mFile(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        if (mFile < 0) throwErrno("open");
    }
    ~Page() { close(mFile); }

    bool overwrite() {
        mBytes[0] = static_cast<char>(mBytes[0] + 1);
        return pwrite(mFile, mBytes, sizeof(mBytes), 0) == sizeof(mBytes) && fdatasync(mFile) == 0;
    }

private:
    int mFile;
    char mBytes[4096] = {};
};

std::int32_t countedEvents(const std::string& path, const std::vector<std::string>& names) {
    const RawStore store(path);
    RawStatement select(store.handle(), tavodb::selectSql("OrvoStatus"));
    std::int32_t events = 0;
    for (const std::string& name : names) {
        AppStatus status;
        select.bind(1, name);
        if (select.read(&status, sizeof(status))) events += status.launchCount - 1;
    }
    return events;
}

void timeOperation(Session& session, const char* name, const std::function<bool()>& operation) {
    session.add(name, [operation](benchmark::State& state) {
        for (auto _ : state) {
            if (operation()) continue;
            state.SkipWithError("a write failed");
            break;
        }
    });
}

// The scratch files lie on the disk that TMPDIR names, side by side.
struct Files {
    const host::ScratchFolder folder;
    std::string library = folder.path() + "/library.db";
    std::string raw = folder.path() + "/raw.db";
    std::string page = folder.path() + "/page";
};

}  // namespace

void benchLaunchEvent(const Effort& effort, Table& table) {
    const Files files;
    PackageCycle cycle;
    RawStore(files.library).addPackages(cycle.names(), kCountedOnce);
    RawStore rawStore(files.raw);
    rawStore.addPackages(cycle.names(), kCountedOnce);
    setenv("TAVO_DB_PATH", files.library.c_str(), 1);
    std::string none;
    setData(ORVO_SET_INIT, none, nullptr);

    std::int32_t message[2] = {1, 0};
    std::int32_t sent = 0;
    RawLaunchEvents rawEvents(rawStore);
    Page page(files.page);
    const auto send = [&] {
        ++sent;
        return setData(ORVO_SET_LAUNCH, cycle.next(), message) == 0;
    };
    const auto countRaw = [&] { return rawEvents.count(cycle.next()); };
    for (int i = 0; i < kWritesUntilLogIsReused; ++i) {
        send();
        countRaw();
    }
    Session session("launch", effort, table);
    timeOperation(session, "library", send);
    timeOperation(session, "raw", countRaw);
    timeOperation(session, "overwrite", [&page] { return page.overwrite(); });
    session.run();

    const std::string what = "launch event to return, store included";
    if (countedEvents(files.library, cycle.names()) != sent)
        table.fail(what, "not every event is in the store");
    table.atMost(what, "the same SQL, raw held statements",
                 session.ratio("library", "raw", Clock::kWall), 1.25, "times");
    table.tell(what + ": the thread's own time", "the same SQL, raw held statements",
               session.ratio("library", "raw"), "times");
    table.atMost(what, "one 4 KiB overwrite + fdatasync",
                 session.ratio("library", "overwrite", Clock::kWall), 2, "times");
}
